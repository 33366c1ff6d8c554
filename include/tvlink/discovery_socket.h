/* SPDX-License-Identifier: MIT */
/* The socket on which searches arrive. */
#ifndef TVLINK_DISCOVERY_SOCKET_H
#define TVLINK_DISCOVERY_SOCKET_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

TVLINK_API extern int32_t g_udp_sock; /* the discovery socket; keeps its number once closed */

/* A UDP socket on all interfaces with time-outs of 5 ms. Tries to bind every 10 ms while
 * g_thread_run is not 0: an earlier run may still hold the port; a port that stays taken for a
 * second, or until the guard's bind_wait_ms ends the attempts, is reported once by a line. Returns
 * the socket; -1 for a port outside 1 to 65535; -3 when it cannot be made, after a line, or when
 * the service stops first. */
TVLINK_API int udp_sock_init(int32_t port);

TVLINK_END

#endif
