#include "link/watch.h"

#include "net/stop_signal.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

static const struct timeval WITH_BACKLOG = {0, 100000};

/* Compares the list itself, too: a host may have linked a record by hand. */
static bool is_current(const Watch *watch) NEEDS(registry_mutex)
{
    const CtrlPointList *list = registry_list();
    return watch->complete && watch->list_changes == list_changes() &&
           watch->registry.count == list->count && watch->registry.head == list->head &&
           watch->registry.tail == list->tail;
}

static bool make_room(Watch *watch, int fd)
{
    if (fd < watch->room) {
        return true;
    }
    const size_t count = static_cast<size_t>(fd) + 1;
    CtrlPoint **grown =
        static_cast<CtrlPoint **>(realloc(watch->records, count * sizeof(CtrlPoint *)));
    if (grown == nullptr) {
        return false;
    }
    const size_t former = static_cast<size_t>(watch->room);
    memset(grown + former, 0, (count - former) * sizeof(CtrlPoint *));
    watch->records = grown;
    watch->room = fd + 1;
    return true;
}

/* Of two records with one descriptor the first in the list counts. */
static bool add(Watch *watch, CtrlPoint *record) NEEDS(registry_mutex)
{
    if (!connection_register(record) || !make_room(watch, record->fd)) {
        return false;
    }
    if (record->fd >= 0 && watch->records[record->fd] == nullptr) {
        watch->records[record->fd] = record;
    }
    descriptor_set_add(&watch->all, record->fd);
    return true;
}

static void renew(Watch *watch, int listener) NEEDS(registry_mutex)
{
    descriptor_set_clear(&watch->all);
    descriptor_set_add(&watch->all, listener);
    descriptor_set_add(&watch->all, stop_signal_fd());
    descriptor_set_add(&watch->all, backlog_signal_fd());
    if (registry_list()->count == 0) {
        free(watch->records);
        watch->records = nullptr;
        watch->room = 0;
    }
    for (int fd = 0; fd < watch->room; fd++) {
        watch->records[fd] = nullptr;
    }
    watch->complete = true;
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        watch->complete &= add(watch, static_cast<CtrlPoint *>(node->data));
    }
    watch->registry = *registry_list();
    watch->list_changes = list_changes();
}

/* Usually there are none. */
static void find_waiting(Watch *watch) NEEDS(registry_mutex)
{
    descriptor_set_clear(&watch->waiting);
    if (backlog_total() == 0) {
        return;
    }
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        const CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        if (connection_waiting(record) > 0) {
            descriptor_set_add(&watch->waiting, record->fd);
        }
    }
}

int watch_wait(Watch *watch, int listener, struct timeval limit)
{
    registry_lock();
    if (!is_current(watch)) {
        renew(watch, listener);
    }
    find_waiting(watch);
    registry_unlock();
    if (!descriptor_set_copy(&watch->ready, &watch->all) ||
        !descriptor_set_copy(&watch->writable, &watch->waiting)) {
        errno = ENOMEM;
        return -1;
    }
    const bool waiting = watch->waiting.size > 0;
    const int ready = descriptor_set_select(&watch->ready, waiting ? WITH_BACKLOG : limit,
                                            waiting ? &watch->writable : nullptr);
    watch->complete &= ready > 0; /* after a pause look whether a host has changed a record */
    return ready;
}

static CtrlPoint *find(const Watch *watch, int fd) NEEDS(registry_mutex)
{
    if (is_current(watch)) {
        return fd < watch->room ? watch->records[fd] : nullptr;
    }
    return static_cast<CtrlPoint *>(list_get(registry_list(), ctrlpoint_match_fd, &fd));
}

Connection watch_acquire(const Watch *watch, int fd)
{
    registry_lock();
    CtrlPoint *record = find(watch, fd);
    const Connection connection =
        record == nullptr ? Connection{nullptr, nullptr} : connection_acquire(record);
    registry_unlock();
    return connection;
}

void watch_free(Watch *watch)
{
    descriptor_set_free(&watch->all);
    descriptor_set_free(&watch->ready);
    descriptor_set_free(&watch->waiting);
    descriptor_set_free(&watch->writable);
    free(watch->records);
    *watch = {};
}
