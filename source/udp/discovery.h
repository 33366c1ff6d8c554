/* The discovery socket as the threads of the discovery share it. */
#pragma once

#include "tvlink/discovery.h"

/* Waits until the discovery thread has ended, if one is running. */
void discovery_join(void);

/* Joins the socket to a group on all interfaces while the socket is open. False, and the reason in
 * errno, when the system refuses or the socket is closed. */
bool discovery_join_group(const char *group);
