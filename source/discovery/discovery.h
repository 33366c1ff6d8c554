/* Start and end of the discovery. */
#pragma once

#include "tvlink/discovery.h"

/* Waits until the discovery thread has ended, if one is running. */
void discovery_join(void);
