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
};

struct BacklogQueue {
    BacklogPart *first;
    BacklogPart *last;
    uint32_t sent;    /* bytes of the first part */
    uint32_t waiting; /* bytes of all parts that are still to be sent */
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

/* A frame for a peer for which nothing waits may be longer than the peer's bound. */
static bool is_allowed(const Backlog *backlog, uint32_t size)
{
    const uint64_t limit = guard_send_backlog_bytes();
    const uint64_t all = limit * SHARES < UINT32_MAX ? limit * SHARES : UINT32_MAX;
    const uint32_t waiting = backlog_waiting(backlog);
    const bool within = waiting == 0 || uint64_t{waiting} + size <= limit;
    return within && add_to_total(size, all);
}

/* ---- Keeping and sending */

/* False when memory is out. */
static bool make_queue(Backlog *backlog)
{
    if (backlog->queue != nullptr) {
        return true;
    }
    BacklogQueue *queue = static_cast<BacklogQueue *>(calloc(1, sizeof *queue));
    __atomic_store_n(&backlog->queue, queue, __ATOMIC_RELEASE);
    return queue != nullptr;
}

static BacklogPart *make_part(const uint8_t *bytes, uint32_t size)
{
    BacklogPart *part = static_cast<BacklogPart *>(malloc(sizeof *part + size));
    if (part != nullptr) {
        *part = {nullptr, size};
        memcpy(bytes_of(part), bytes, size);
    }
    return part;
}

static void append(BacklogQueue *queue, BacklogPart *part, uint64_t now_ms)
{
    queue->progress_ms = queue->first == nullptr ? now_ms : queue->progress_ms;
    *(queue->first == nullptr ? &queue->first : &queue->last->next) = part;
    queue->last = part;
    __atomic_store_n(&queue->waiting, queue->waiting + part->size, __ATOMIC_RELEASE);
}

bool backlog_keep(Backlog *backlog, const uint8_t *bytes, uint32_t size, uint64_t now_ms)
{
    if (!is_allowed(backlog, size)) {
        errno = ENOBUFS;
        return false;
    }
    BacklogPart *part = make_queue(backlog) ? make_part(bytes, size) : nullptr;
    if (part == nullptr) {
        take_from_total(size);
        errno = ENOMEM;
        return false;
    }
    append(backlog->queue, part, now_ms);
    return true;
}

uint32_t backlog_waiting(const Backlog *backlog)
{
    const BacklogQueue *queue = __atomic_load_n(&backlog->queue, __ATOMIC_ACQUIRE);
    return queue == nullptr ? 0 : __atomic_load_n(&queue->waiting, __ATOMIC_ACQUIRE);
}

uint64_t backlog_progress_ms(const Backlog *backlog)
{
    return backlog->queue == nullptr ? 0 : backlog->queue->progress_ms;
}

Frame backlog_next(const Backlog *backlog)
{
    if (backlog_waiting(backlog) == 0) {
        return {nullptr, 0};
    }
    const BacklogQueue *queue = backlog->queue;
    return {bytes_of(queue->first) + queue->sent, queue->first->size - queue->sent};
}

void backlog_drop(Backlog *backlog, uint32_t size, uint64_t now_ms)
{
    BacklogQueue *queue = backlog->queue;
    queue->progress_ms = now_ms;
    queue->sent += size;
    __atomic_store_n(&queue->waiting, queue->waiting - size, __ATOMIC_RELEASE);
    take_from_total(size);
    BacklogPart *part = queue->first;
    if (queue->sent == part->size) {
        queue->first = part->next;
        queue->sent = 0;
        free(part);
    }
}

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
