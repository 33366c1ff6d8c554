#include "link/backlog.h"

#include "base/guard.h"
#include "base/lock.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

/* The bytes follow in the same allocation. */
struct BacklogPart {
    BacklogPart *next;
    uint32_t size;
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
    const bool within = backlog->waiting == 0 || uint64_t{backlog->waiting} + size <= limit;
    return within && add_to_total(size, all);
}

/* ---- Keeping and sending */

bool backlog_keep(Backlog *backlog, const uint8_t *bytes, uint32_t size, uint64_t now_ms)
{
    if (!is_allowed(backlog, size)) {
        errno = ENOBUFS;
        return false;
    }
    BacklogPart *part = static_cast<BacklogPart *>(malloc(sizeof *part + size));
    if (part == nullptr) {
        take_from_total(size);
        errno = ENOMEM;
        return false;
    }
    *part = {nullptr, size};
    memcpy(bytes_of(part), bytes, size);
    backlog->progress_ms = backlog->first == nullptr ? now_ms : backlog->progress_ms;
    *(backlog->first == nullptr ? &backlog->first : &backlog->last->next) = part;
    backlog->last = part;
    __atomic_store_n(&backlog->waiting, backlog->waiting + size, __ATOMIC_RELEASE);
    return true;
}

Frame backlog_next(const Backlog *backlog)
{
    if (backlog->first == nullptr) {
        return {nullptr, 0};
    }
    return {bytes_of(backlog->first) + backlog->sent, backlog->first->size - backlog->sent};
}

void backlog_drop(Backlog *backlog, uint32_t size)
{
    backlog->sent += size;
    __atomic_store_n(&backlog->waiting, backlog->waiting - size, __ATOMIC_RELEASE);
    take_from_total(size);
    BacklogPart *part = backlog->first;
    if (part != nullptr && backlog->sent == part->size) {
        backlog->first = part->next;
        backlog->sent = 0;
        free(part);
    }
}

void backlog_clear(Backlog *backlog)
{
    while (backlog->first != nullptr) {
        backlog_drop(backlog, backlog->first->size - backlog->sent);
    }
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
