/* SPDX-License-Identifier: MIT */
#include "link/registry.h"

#include <stdlib.h>

static uint32_t changes = 0;

uint32_t list_changes()
{
    return __atomic_load_n(&changes, __ATOMIC_RELAXED);
}

static void count_change()
{
    __atomic_add_fetch(&changes, 1, __ATOMIC_RELAXED);
}

void list_init(CtrlPointList *list)
{
    if (list != nullptr) {
        count_change();
        *list = {0, nullptr, nullptr};
    }
}

int list_insert(CtrlPointList *list, void *element)
{
    if (list == nullptr || element == nullptr) {
        return -1;
    }
    ListNode *node = static_cast<ListNode *>(malloc(sizeof *node));
    if (node == nullptr) {
        return -1;
    }
    *node = {element, nullptr};
    *(list->tail == nullptr ? &list->head : &list->tail->next) = node;
    list->tail = node;
    list->count++;
    count_change();
    return 0;
}

static const ListNode *find_node(const CtrlPointList *list, ListComparator matches, void *key)
{
    const ListNode *node = list == nullptr ? nullptr : list->head;
    while (node != nullptr && matches(node->data, key) != 1) {
        node = node->next;
    }
    return node;
}

int list_find(CtrlPointList *list, ListComparator matches, void *key)
{
    return find_node(list, matches, key) != nullptr ? 1 : 0;
}

void *list_get(CtrlPointList *list, ListComparator matches, void *key)
{
    const ListNode *node = find_node(list, matches, key);
    return node == nullptr ? nullptr : node->data;
}

int list_remove(CtrlPointList *list, void *element, ListFree release)
{
    if (list == nullptr || element == nullptr) {
        return -1;
    }
    ListNode *previous = nullptr;
    ListNode *node = list->head;
    while (node != nullptr && node->data != element) {
        previous = node;
        node = node->next;
    }
    if (node != nullptr) {
        *(previous == nullptr ? &list->head : &previous->next) = node->next;
        list->tail = list->tail == node ? previous : list->tail;
        list->count--;
        count_change();
        release(element);
        free(node);
    }
    return 0;
}

int list_clean(CtrlPointList *list, ListFree release)
{
    if (list == nullptr) {
        return -1;
    }
    ListNode *node = list->head;
    while (node != nullptr) {
        ListNode *next = node->next;
        release(node->data);
        free(node);
        node = next;
    }
    list_init(list);
    return 0;
}
