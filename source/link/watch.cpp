/* SPDX-License-Identifier: MIT */
#include "link/watch.h"

#include "net/stop_signal.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <unistd.h>

static const int WITH_BACKLOG_MS = 100;

enum { AT_ONCE = 64 }; /* ready descriptors that the system tells in one call */

Watch watch_begin(int listener)
{
    Watch watch = {};
    watch.listener = listener;
    watch.epoll = -1;
    return watch;
}

/* ---- What the system watches */

static bool control(const Watch *watch, int operation, int fd, uint32_t identity, uint32_t events)
{
    struct epoll_event event = {};
    event.events = events;
    event.data.u64 = uint64_t{identity} << 32 | static_cast<uint32_t>(fd);
    return epoll_ctl(watch->epoll, operation, fd, &event) == 0;
}

static int fd_of(const struct epoll_event *event)
{
    return static_cast<int>(static_cast<uint32_t>(event->data.u64));
}

static uint32_t identity_of(const struct epoll_event *event)
{
    return static_cast<uint32_t>(event->data.u64 >> 32);
}

/* For a signal or the listening socket; -1: there is none to watch. */
static bool watch_descriptor(const Watch *watch, int fd)
{
    return fd < 0 || control(watch, EPOLL_CTL_ADD, fd, 0, EPOLLIN);
}

static void forget_all(Watch *watch)
{
    close(watch->epoll);
    watch->epoll = -1;
    for (int fd = 0; fd < watch->room; fd++) {
        watch->connections[fd] = {};
    }
    watch->complete = false;
}

static bool begin(Watch *watch)
{
    if (watch->epoll >= 0) {
        return true;
    }
    watch->epoll = epoll_create1(EPOLL_CLOEXEC);
    if (watch->epoll < 0) {
        return false;
    }
    if (watch_descriptor(watch, watch->listener) && watch_descriptor(watch, stop_signal_fd()) &&
        watch_descriptor(watch, backlog_signal_fd())) {
        return true;
    }
    const int reason = errno;
    forget_all(watch);
    errno = reason;
    return false;
}

/* ---- The registry's connections */

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
    Watched *grown = static_cast<Watched *>(realloc(watch->connections, count * sizeof(Watched)));
    if (grown == nullptr) {
        return false;
    }
    const size_t former = static_cast<size_t>(watch->room);
    memset(grown + former, 0, (count - former) * sizeof(Watched));
    watch->connections = grown;
    watch->room = fd + 1;
    return true;
}

/* A host may have listed a further record of a descriptor that is being watched. */
static bool watch_connection(const Watch *watch, int fd, uint32_t identity)
{
    return control(watch, EPOLL_CTL_ADD, fd, identity, EPOLLIN) ||
           (errno == EEXIST && control(watch, EPOLL_CTL_MOD, fd, identity, EPOLLIN));
}

/* Of two records with one descriptor the first in the list counts. */
static bool add(Watch *watch, CtrlPoint *record) NEEDS(registry_mutex)
{
    if (!connection_register(record) || !make_room(watch, record->fd)) {
        return false;
    }
    if (record->fd < 0 || watch->connections[record->fd].record != nullptr) {
        return true;
    }
    Watched *watched = &watch->connections[record->fd];
    watched->record = record;
    const uint32_t identity = connection_identity(record);
    if (watched->identity == identity) {
        return true;
    }
    const bool added = watch_connection(watch, record->fd, identity);
    *watched = {record, added ? identity : 0, false};
    return added;
}

static void give_room_back(Watch *watch)
{
    free(watch->connections);
    watch->connections = nullptr;
    watch->room = 0;
}

/* The system ends the watch of a connection when that is closed. Here it could not be ended: the
 * number may by now be that of something else. */
static void renew(Watch *watch) NEEDS(registry_mutex)
{
    for (int fd = 0; fd < watch->room; fd++) {
        watch->connections[fd].record = nullptr;
    }
    watch->complete = true;
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        watch->complete &= add(watch, static_cast<CtrlPoint *>(node->data));
    }
    for (int fd = 0; fd < watch->room; fd++) {
        if (watch->connections[fd].record == nullptr) {
            watch->connections[fd] = {};
        }
    }
    if (registry_list()->count == 0) {
        give_room_back(watch);
    }
    watch->registry = *registry_list();
    watch->list_changes = list_changes();
}

static CtrlPoint *find(const Watch *watch, int fd) NEEDS(registry_mutex)
{
    if (is_current(watch)) {
        return fd < watch->room ? watch->connections[fd].record : nullptr;
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

/* ---- Those with a backlog */

static void watch_for_room(const Watch *watch, const CtrlPoint *record, bool wanted)
{
    if (record->fd < 0 || record->fd >= watch->room) {
        return;
    }
    Watched *watched = &watch->connections[record->fd];
    if (watched->record == record && watched->identity != 0 && watched->for_room != wanted) {
        const uint32_t events = wanted ? EPOLLIN | EPOLLOUT : EPOLLIN;
        control(watch, EPOLL_CTL_MOD, record->fd, watched->identity, events);
        watched->for_room = wanted;
    }
}

/* Usually there are none. */
static void find_waiting(Watch *watch) NEEDS(registry_mutex)
{
    descriptor_set_clear(&watch->waiting);
    if (backlog_total() == 0 && !watch->for_room) {
        return;
    }
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        const CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        const bool waits =
            connection_is_waiting(record) && descriptor_set_add(&watch->waiting, record->fd);
        watch_for_room(watch, record, waits);
    }
    watch->for_room = watch->waiting.size > 0;
}

/* ---- Waiting */

/* The system goes on to watch a connection that has been dropped until it is closed: by its last
 * user, and by a child process of the host that has a copy of its descriptor. */
static bool is_known(const Watch *watch, const struct epoll_event *event)
{
    const uint32_t identity = identity_of(event);
    const int fd = fd_of(event);
    return identity == 0 || (fd < watch->room && watch->connections[fd].identity == identity);
}

static bool note_ready(Watch *watch, const struct epoll_event *event)
{
    if (!is_known(watch, event)) {
        forget_all(watch);
        return true;
    }
    return (event->events & ~static_cast<uint32_t>(EPOLLOUT)) == 0 ||
           descriptor_set_add(&watch->ready, fd_of(event));
}

static bool note_all_ready(Watch *watch, const struct epoll_event *events, int count)
{
    for (int i = 0; i < count && watch->epoll >= 0; i++) {
        if (!note_ready(watch, &events[i])) {
            return false;
        }
    }
    return true;
}

/* Collects all that are ready: the idle check must not come before what phones have sent. */
static int collect(Watch *watch, int limit_ms)
{
    struct epoll_event events[AT_ONCE];
    int all = 0;
    int count = AT_ONCE;
    const int most = watch->room + AT_ONCE; /* the calls after it would tell the same ones */
    descriptor_set_clear(&watch->ready);
    while (count == AT_ONCE && all < most && watch->epoll >= 0) {
        count = epoll_wait(watch->epoll, events, AT_ONCE, all == 0 ? limit_ms : 0);
        if (count < 0) {
            return -1;
        }
        all += count;
        if (!note_all_ready(watch, events, count)) {
            errno = ENOMEM;
            return -1;
        }
    }
    return all;
}

static int wait_once(Watch *watch, int limit_ms)
{
    if (!begin(watch)) {
        return -1;
    }
    registry_lock();
    if (!is_current(watch)) {
        renew(watch);
    }
    find_waiting(watch);
    registry_unlock();
    return collect(watch, watch->for_room ? WITH_BACKLOG_MS : limit_ms);
}

int watch_wait(Watch *watch, int limit_ms)
{
    int ready = 0;
    do {
        ready = wait_once(watch, limit_ms);
    } while (ready >= 0 &&
             watch->epoll < 0);   /* all was forgotten: not all that are ready are told */
    watch->complete &= ready > 0; /* after a pause look whether a host has changed a record */
    return ready;
}

void watch_end(Watch *watch)
{
    descriptor_set_free(&watch->ready);
    descriptor_set_free(&watch->waiting);
    give_room_back(watch);
    if (watch->epoll >= 0) {
        close(watch->epoll);
    }
    watch->epoll = -1;
}
