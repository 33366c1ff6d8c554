/* The registry of connected control points, and the list that it is. */
#ifndef TVLINK_REGISTRY_H
#define TVLINK_REGISTRY_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

typedef struct ListNode {
    void *data;
    struct ListNode *next;
} ListNode;

/* Singly linked, elements in order of arrival. */
typedef struct CtrlPointList {
    uint32_t count;
    ListNode *head;
    ListNode *tail;
} CtrlPointList;

/* 1 for a match; every other value is a miss. */
typedef int (*ListComparator)(void *element, void *key);
typedef void (*ListFree)(void *element);

/* Every connected control point, in order of connection. The records are the library's. */
TVLINK_API extern CtrlPointList g_cp_list;

/* Must be held around every use of g_cp_list. ipp_init makes it, ipp_finish destroys it. */
TVLINK_API extern pthread_mutex_t g_cp_list_mutex;

/* The operations take no lock, print nothing and do not block. */

/* Empties the list without freeing anything; null is allowed. */
TVLINK_API void list_init(CtrlPointList *list);

/* Appends. Returns 0; -1 for a null argument or when memory is out: the list is as it was. */
TVLINK_API int list_insert(CtrlPointList *list, void *element);

/* 1 when some element matches, else 0. */
TVLINK_API int list_find(CtrlPointList *list, ListComparator matches, void *key);

/* The first element that matches; null when there is none. */
TVLINK_API void *list_get(CtrlPointList *list, ListComparator matches, void *key);

/* Takes the element (the same pointer) out and calls `release` on it. Returns 0, also when the
 * element is not in the list and nothing happens; -1 for a null list or element. */
TVLINK_API int list_remove(CtrlPointList *list, void *element, ListFree release);

/* Calls `release` on every element from head to tail and empties the list. Returns 0; -1 for a null
 * list. */
TVLINK_API int list_clean(CtrlPointList *list, ListFree release);

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
