/* The bounds that the host has set; all zero when it has set none. */
#pragma once

#include "tvlink.h"

/* A copy, so that one decision is made on one set of values. */
IppGuard guard_current(void);

/* May this peer (network byte order) connect, and is its search answered? Asks the host with no
 * lock held. */
bool guard_admits(uint32_t peer_addr);
