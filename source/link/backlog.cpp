/* SPDX-License-Identifier: MIT */
#include "link/backlog.h"

#include "base/guard.h"
#include "base/lock.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

/* Of a frame. The bytes follow in the same allocation. */
struct BacklogPart {
    BacklogPart *next;
    uint32_t size;
    bool reserved; /* for a frame that is still being made; it counts as a byte */
};

struct BacklogQueue {
    BacklogPart *first;
    BacklogPart *last;
    uint32_t sent;    /* bytes of the first part */
    uint32_t waiting; /* bytes of all parts that are still to be sent */
    uint32_t ready;   /* the first part has bytes to send: true or false */
    uint64_t progress_ms;
};

/* All connections together may keep as much as so many of them. */
static const uint32_t SHARES = 4;

static uint32_t total = 0;

static int signal_fd = -1;
static Lock signal_lock; /* keeps the number of a closed signal from being written to */

static uint8_t *bytes_of(BacklogPart *part)
{
    return reinterpret_cast<uint8_t *>(part + 1);
}

uint32_t backlog_total()
{
    return __atomic_load_n(&total, __ATOMIC_ACQUIRE);
}

/* ---- Bounds */

static bool add_to_total(uint32_t size, uint64_t most)
{
    uint32_t now = backlog_total();
    do {
        if (uint64_t{now} + size > most) {
            return false;
        }
    } while (!__atomic_compare_exchange_n(&total, &now, now + size, true, __ATOMIC_ACQ_REL,
                                          __ATOMIC_ACQUIRE));
    return true;
}

static void take_from_total(uint32_t size)
{
    __atomic_sub_fetch(&total, size, __ATOMIC_ACQ_REL);
}

/* The first part does not count for its peer: it may be longer than the bound. */
static bool is_allowed(const BacklogQueue *queue, uint32_t size, bool first)
{
    const uint64_t limit = guard_send_backlog_bytes();
    const uint64_t all = limit * SHARES < UINT32_MAX ? limit * SHARES : UINT32_MAX;
    const uint32_t rest = queue->first == nullptr ? 0 : queue->first->size - queue->sent;
    const bool within = first || uint64_t{queue->waiting - rest} + size <= limit;
    return within && add_to_total(size, all);
}

/* ---- The queue of a connection */

/* Null when memory is out. */
static BacklogQueue *queue_of(Backlog *backlog)
{
    if (backlog->queue == nullptr) {
        BacklogQueue *queue = static_cast<BacklogQueue *>(calloc(1, sizeof *queue));
        __atomic_store_n(&backlog->queue, queue, __ATOMIC_RELEASE);
    }
    return backlog->queue;
}

/* Null, with the reason in errno. The bytes count as waiting. */
static BacklogPart *make_part(BacklogQueue *queue, const uint8_t *bytes, uint32_t size, bool first)
{
    if (!is_allowed(queue, size, first)) {
        errno = ENOBUFS;
        return nullptr;
    }
    BacklogPart *part = static_cast<BacklogPart *>(malloc(sizeof *part + size));
    if (part == nullptr) {
        take_from_total(size);
        errno = ENOMEM;
        return nullptr;
    }
    *part = {nullptr, size, bytes == nullptr};
    if (bytes != nullptr) {
        memcpy(bytes_of(part), bytes, size);
    }
    queue->waiting += size;
    return part;
}

static void take_waiting(BacklogQueue *queue, uint32_t size)
{
    queue->waiting -= size;
    take_from_total(size);
}

/* After each change of the first part. */
static void note_first(BacklogQueue *queue, uint64_t now_ms)
{
    queue->progress_ms = now_ms;
    const uint32_t ready = queue->first != nullptr && !queue->first->reserved ? 1 : 0;
    __atomic_store_n(&queue->ready, ready, __ATOMIC_RELEASE);
}

static BacklogPart *append(Backlog *backlog, const uint8_t *bytes, uint32_t size, uint64_t now_ms)
{
    BacklogQueue *queue = queue_of(backlog);
    if (queue == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    BacklogPart *part = make_part(queue, bytes, size, queue->first == nullptr);
    if (part == nullptr) {
        return nullptr;
    }
    if (queue->first == nullptr) {
        queue->first = part;
        note_first(queue, now_ms);
    } else {
        queue->last->next = part;
    }
    queue->last = part;
    return part;
}

/* Puts the part in the place of another one; null: none. */
static void replace(BacklogQueue *queue, BacklogPart *former, BacklogPart *part)
{
    BacklogPart *before = nullptr;
    for (BacklogPart *at = queue->first; at != former; at = at->next) {
        before = at;
    }
    if (part != nullptr) {
        part->next = former->next;
    }
    *(before == nullptr ? &queue->first : &before->next) = part == nullptr ? former->next : part;
    if (queue->last == former) {
        queue->last = part == nullptr ? before : part;
    }
    take_waiting(queue, former->size);
    free(former);
}

/* ---- Keeping and sending */

bool backlog_keep(Backlog *backlog, const uint8_t *bytes, uint32_t size, uint64_t now_ms)
{
    return append(backlog, bytes, size, now_ms) != nullptr;
}

BacklogPart *backlog_reserve(Backlog *backlog, uint64_t now_ms)
{
    return append(backlog, nullptr, 1, now_ms);
}

bool backlog_fill(Backlog *backlog, BacklogPart *place, const uint8_t *bytes, uint32_t size,
                  uint64_t now_ms)
{
    BacklogQueue *queue = backlog->queue;
    const bool first = queue->first == place;
    BacklogPart *part = size == 0 ? nullptr : make_part(queue, bytes, size, first);
    const int reason = errno;
    replace(queue, place, part);
    if (first) {
        note_first(queue, now_ms);
    }
    errno = reason;
    return part != nullptr || size == 0;
}

bool backlog_is_used(const Backlog *backlog)
{
    return backlog->queue != nullptr && backlog->queue->first != nullptr;
}

bool backlog_has_next(const Backlog *backlog)
{
    const BacklogQueue *queue = __atomic_load_n(&backlog->queue, __ATOMIC_ACQUIRE);
    return queue != nullptr && __atomic_load_n(&queue->ready, __ATOMIC_ACQUIRE) != 0;
}

uint64_t backlog_progress_ms(const Backlog *backlog)
{
    return backlog->queue == nullptr ? 0 : backlog->queue->progress_ms;
}

Frame backlog_next(const Backlog *backlog)
{
    if (!backlog_has_next(backlog)) {
        return {nullptr, 0};
    }
    const BacklogQueue *queue = backlog->queue;
    return {bytes_of(queue->first) + queue->sent, queue->first->size - queue->sent};
}

void backlog_drop(Backlog *backlog, uint32_t size, uint64_t now_ms)
{
    BacklogQueue *queue = backlog->queue;
    BacklogPart *part = queue->first;
    queue->sent += size;
    take_waiting(queue, size);
    if (queue->sent == part->size) {
        queue->first = part->next;
        queue->sent = 0;
        free(part);
    }
    note_first(queue, now_ms);
}

/* Whoever has reserved a place is a user of the connection, too, and has filled it before. */
void backlog_clear(Backlog *backlog)
{
    for (Frame rest = backlog_next(backlog); rest.size != 0; rest = backlog_next(backlog)) {
        backlog_drop(backlog, rest.size, 0);
    }
    free(backlog->queue);
    backlog->queue = nullptr;
}

/* ---- The signal */

int backlog_signal_fd()
{
    return __atomic_load_n(&signal_fd, __ATOMIC_ACQUIRE);
}

void backlog_signal_open()
{
    if (backlog_signal_fd() < 0) {
        __atomic_store_n(&signal_fd, eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), __ATOMIC_RELEASE);
    }
}

void backlog_signal_close()
{
    lock_take(&signal_lock);
    const int fd = __atomic_exchange_n(&signal_fd, -1, __ATOMIC_ACQ_REL);
    if (fd >= 0) {
        close(fd);
    }
    lock_release(&signal_lock);
}

void backlog_signal_raise()
{
    lock_take(&signal_lock);
    eventfd_write(backlog_signal_fd(), 1);
    lock_release(&signal_lock);
}

void backlog_signal_clear()
{
    eventfd_t raised = 0;
    eventfd_read(backlog_signal_fd(), &raised);
}
