/* SPDX-License-Identifier: MIT */
/* The singly linked list of the registry. */
#ifndef TVLINK_LIST_H
#define TVLINK_LIST_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* One element of a list. */
typedef struct ListNode {
    void *data;            /* the element */
    struct ListNode *next; /* null behind the last one */
} ListNode;

/* Elements in order of arrival. */
typedef struct CtrlPointList {
    uint32_t count; /* of the elements */
    ListNode *head; /* null: there are none */
    ListNode *tail; /* null: there are none */
} CtrlPointList;

/* 1 for a match; every other value is a miss. */
typedef int (*ListComparator)(void *element, void *key);
typedef void (*ListFree)(void *element);

/* The operations take no lock, print nothing and do not block. */

/* Empties the list without freeing anything; null is allowed. */
TVLINK_API void list_init(CtrlPointList *list);

/* Appends. Returns 0; -1 for a null argument or when memory is out: the list is as it was. */
TVLINK_API int list_insert(CtrlPointList *list, void *element);

/* 1 when some element matches, else 0. */
TVLINK_API int list_find(CtrlPointList *list, ListComparator matches, void *key);

/* The first element that matches; null when there is none. */
TVLINK_API void *list_get(CtrlPointList *list, ListComparator matches, void *key);

/* Removes the element (the same pointer) and calls `release` on it. Returns 0, also when the
 * element is not in the list and nothing happens; -1 for a null list or element. */
TVLINK_API int list_remove(CtrlPointList *list, void *element, ListFree release);

/* Calls `release` on every element from head to tail and empties the list. Returns 0; -1 for a null
 * list. */
TVLINK_API int list_clean(CtrlPointList *list, ListFree release);

TVLINK_END

#endif
