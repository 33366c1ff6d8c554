/* SPDX-License-Identifier: MIT */
/* The registry of connected control points. */
#ifndef TVLINK_REGISTRY_H
#define TVLINK_REGISTRY_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"
#include "tvlink/list.h"

#include <pthread.h>
#include <stdint.h>

TVLINK_BEGIN

/* Every connected control point, in order of connection. The records are the library's, also one
 * that a host has put into the list: it leaves the list through ctrlpoint_free only. */
TVLINK_API extern CtrlPointList g_cp_list;

/* Must be held around every use of g_cp_list. Never destroyed: after a stop the list is empty. The
 * library's functions but ipp_init and ipp_finish may be called by a thread that holds it; those
 * that send, receive or look for idle control points may free any record. */
TVLINK_API extern pthread_mutex_t g_cp_list_mutex;

/* Registers a new connection. g_cp_list_mutex is held. Returns 0; -1 when memory is out: the socket
 * stays the caller's. */
TVLINK_API int check_and_insert(int32_t fd, uint32_t peer_addr);

/* Takes a snapshot of the connected control points: fills at most `most` weak references and
 * returns the number of control points; 0 when the service does not run. A weak reference is a
 * variable of the host. Like every copy of a record it does not keep its connection open, and
 * stands for no connection once that has ended. Any thread; may block while an event is being sent.
 */
TVLINK_API uint32_t ipp_connected_ctrlpoints(CtrlPoint *references, uint32_t most);

/* Ends a record: frees its buffer, closes its socket, destroys its send lock, frees it. A
 * connection that was listed is shut down at once; while a send or a request that runs uses it, the
 * last user does the rest. Call it once, with the record out of the list. */
TVLINK_API void ctrlpoint_free(void *record);

/* Comparators: by the address that the key (uint32_t, network byte order) points to, ... */
TVLINK_API int ctrlpoint_match_addr(void *record, void *key);

/* ... by the descriptor that the key (int32_t, or a CtrlPoint, whose first field it is) points to,
 * ... */
TVLINK_API int ctrlpoint_match_fd(void *record, void *key);

/* ... and whether nothing has arrived for 31 to 299 seconds; the key is not used. */
TVLINK_API int ctrlpoint_is_idle(void *record, void *key);

TVLINK_END

#endif
