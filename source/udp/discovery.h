/* The discovery socket as the threads of the discovery share it. */
#pragma once

#include "tvlink/discovery.h"

/* Waits until the discovery thread has ended, if one is running. */
void discovery_join(void);

/* Joins the socket of this run to a group on all interfaces. False, and the reason in errno, when
 * the system refuses, the socket is closed or the run is over. */
bool discovery_join_group(const char *group, uint32_t run);
