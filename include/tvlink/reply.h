/* SPDX-License-Identifier: MIT */
/* Sends on control connections. */
#ifndef TVLINK_REPLY_H
#define TVLINK_REPLY_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

/* Frames the payload and sends it whole to one control point.
 *
 * cp        a listed record, the item that a handler was given, a copy of either, or a host's own
 *           record
 * type      the frame type, low 8 bits
 * payload   borrowed; not null, also when length is 0
 *
 * Returns 1 when the whole frame was handed to the system. Returns -1 for a bad argument, when
 * memory is out, and after a line when the connection has ended (errno EPIPE) or on a hard send
 * error: then the control point is dropped. Any thread; takes no lock but that of the connection,
 * so that frames of several threads never interleave, and waits for no other connection. Only after
 * a hard error it takes g_cp_list_mutex, and so waits for an event that is being sent, to remove
 * the record. A caller that holds the lock and walks the list takes the next node before the call.
 *
 * Blocks while the send buffer of the connection is full; the guard's send_stall_ms bounds that,
 * and stopping the service ends it. A host's own record is not affected by a stop, and is bounded
 * only when its socket does not block or has a send time-out. */
TVLINK_API int tcp_sendback(CtrlPoint *cp, int type, const void *payload, int32_t length);

/* The same for a caller that holds g_cp_list_mutex, with two more diagnostic lines. */
TVLINK_API int tcp_sendbackall(CtrlPoint *cp, int type, const void *payload, int32_t length);

/* Sends the payload to every connected control point, in order of connection, holding
 * g_cp_list_mutex throughout. With the guard's send_stall_ms those that are stalled are waited for
 * last, and all at once. A null payload or a length below 1 sends nothing. Any thread. */
TVLINK_API void sendto_all_ctrlpoint(int type, const void *payload, int32_t length);

TVLINK_END

#endif
