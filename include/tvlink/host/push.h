/* SPDX-License-Identifier: MIT */
/* Pushing a prepared reply to one control point from a thread of its own. */
#ifndef TVLINK_HOST_PUSH_H
#define TVLINK_HOST_PUSH_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"
#include "tvlink/registry.h"

#include <stdint.h>

TVLINK_BEGIN

/* The argument of a push thread, which frees the record and the data. */
typedef struct PushRecord {
    CtrlPoint *control_point; /* null: nothing is sent */
    void *data;               /* malloc'ed */
    uint32_t length;          /* of the data, in bytes */
    CtrlPoint *reference;     /* a copy by the library, to which control_point points; null: none */
} PushRecord;

/* Starts a detached thread that sends data as the payload of one get reply (frame type 6) to the
 * control point that *cp refers to at the time of the call. Its frame never interleaves with others
 * of the connection. When the connection ends first, nothing is sent and only a line says so.
 *
 * cp      points to a pointer to a weak reference (ipp_connected_ctrlpoints), a request item, a
 *         listed record (which the server thread may free at any moment unless the caller holds
 *         g_cp_list_mutex), or a host's own record. Read during the call only, except for a host's
 *         own record, which must outlive the push.
 * data    length bytes from malloc; the library's from a successful call on, otherwise still the
 *         caller's; null only when length is 0.
 *
 * 0, or -1 when memory is out or no thread could be made. The number of pushes is not limited, and
 * two to the same control point may arrive in either order. Any thread, also with g_cp_list_mutex
 * held; the call does not wait for the network. */
TVLINK_API int start_egp_thread(CtrlPoint **cp, void *data, uint32_t length);

/* The body of the thread: takes a PushRecord from malloc. Returns null. */
TVLINK_API void *epg_send(void *record);

TVLINK_END

#endif
