/* SPDX-License-Identifier: MIT */
/* Heartbeats and the idle time-out. */
#ifndef TVLINK_HEARTBEAT_H
#define TVLINK_HEARTBEAT_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

TVLINK_BEGIN

/* Sends one heartbeat ("HEART"). Result, blocking and threads as tcp_sendback. */
TVLINK_API int device_heartbeat(CtrlPoint *cp);

/* Drops the first control point, in order of connection, that has been silent for 31 to 299
 * seconds, and prints a line. At most one for each call. Returns 0. The server thread calls it
 * after every pass. */
TVLINK_API int check_ctrlpoint_timeout(void);

/* Sends a heartbeat to every control point to which this function has sent none for 6 seconds or
 * more. Returns 0. For the host, on any thread; blocks as a broadcast does. */
TVLINK_API int check_ctrlpoint_heart(void);

TVLINK_END

#endif
