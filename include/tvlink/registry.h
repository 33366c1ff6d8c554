/* The registry of connected control points. */
#ifndef TVLINK_REGISTRY_H
#define TVLINK_REGISTRY_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"
#include "tvlink/list.h"

#include <pthread.h>
#include <stdint.h>

TVLINK_BEGIN

/* Every connected control point, in order of connection. The records are the library's. */
TVLINK_API extern CtrlPointList g_cp_list;

/* Must be held around every use of g_cp_list. ipp_init makes it, ipp_finish destroys it. */
TVLINK_API extern pthread_mutex_t g_cp_list_mutex;

/* Registers a new connection. g_cp_list_mutex is held. Returns 0; -1 when memory is out: the socket
 * stays open, nobody watches it. */
TVLINK_API int check_and_insert(int32_t fd, uint32_t peer_addr);

/* Writes down who is connected now: fills at most so many references, and returns how many control
 * points there are; 0 when the service does not run. A reference is the host's, like any other
 * variable. It names its connection also after that has ended, and then nobody. Any thread that
 * does not hold g_cp_list_mutex; may wait while an event is being sent. */
TVLINK_API uint32_t ipp_connected_ctrlpoints(CtrlPoint *references, uint32_t most);

/* Ends a record: frees its buffer, closes its socket, destroys its send lock, frees it. While a
 * send, a queued request or a push still uses the record the connection is only shut down, and the
 * last user does the rest. Call it with the record out of the list, once. */
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
