/* SPDX-License-Identifier: MIT */
#include "base/guard.h"

#include "base/lock.h"
#include "base/sized_record.h"

namespace
{

struct Admission {
    int (*admit)(uint32_t peer_addr, void *context);
    void *context;
};

} // namespace

/* Its numbers are atomic, so that the request path takes no lock for them. */
static IppGuard guard = {};

/* Keeps the callback and its context, and what two threads set at once, consistent. */
static Lock guard_lock;
static Admission admission GUARDED_BY(guard_lock) = {nullptr, nullptr};

static void store(uint32_t *to, uint32_t value)
{
    __atomic_store_n(to, value, __ATOMIC_RELAXED);
}

static uint32_t load(const uint32_t *from)
{
    return __atomic_load_n(from, __ATOMIC_RELAXED);
}

static int set_guard(const IppGuard *wanted)
{
    if (wanted->on_bad_tag != IPP_BAD_TAG_END && wanted->on_bad_tag != IPP_BAD_TAG_REFUSE) {
        return -1;
    }
    lock_take(&guard_lock);
    __atomic_store_n(&guard.on_bad_tag, wanted->on_bad_tag, __ATOMIC_RELAXED);
    store(&guard.max_frame_length, wanted->max_frame_length);
    store(&guard.max_ctrlpoints, wanted->max_ctrlpoints);
    store(&guard.send_stall_ms, wanted->send_stall_ms);
    store(&guard.bulk_accept_ms, wanted->bulk_accept_ms);
    store(&guard.max_captures, wanted->max_captures);
    store(&guard.bind_wait_ms, wanted->bind_wait_ms);
    store(&guard.max_search_answers, wanted->max_search_answers);
    store(&guard.send_backlog_bytes, wanted->send_backlog_bytes);
    store(&guard.slot_warn_ms, wanted->slot_warn_ms);
    admission = {wanted->admit, wanted->admit_context};
    lock_release(&guard_lock);
    return 0;
}

/* As it was before it could be told how long it is. */
static const size_t SIZE_WITHOUT_SIZE = offsetof(IppGuard, slot_warn_ms);

int(ipp_set_guard)(const IppGuard *wanted)
{
    return ipp_set_guard_sized(wanted, SIZE_WITHOUT_SIZE);
}

int ipp_set_guard_sized(const IppGuard *wanted, size_t size)
{
    IppGuard next = {};
    if (wanted != nullptr && !sized_record_take(&next, sizeof next, wanted, size)) {
        return -1;
    }
    return set_guard(&next);
}

uint32_t guard_max_frame_length()
{
    return load(&guard.max_frame_length);
}

uint32_t guard_max_ctrlpoints()
{
    return load(&guard.max_ctrlpoints);
}

uint32_t guard_send_stall_ms()
{
    return load(&guard.send_stall_ms);
}

uint32_t guard_bulk_accept_ms()
{
    return load(&guard.bulk_accept_ms);
}

uint32_t guard_max_captures()
{
    return load(&guard.max_captures);
}

uint32_t guard_bind_wait_ms()
{
    return load(&guard.bind_wait_ms);
}

uint32_t guard_max_search_answers()
{
    return load(&guard.max_search_answers);
}

uint32_t guard_send_backlog_bytes()
{
    return load(&guard.send_backlog_bytes);
}

uint32_t guard_slot_warn_ms()
{
    return load(&guard.slot_warn_ms);
}

bool guard_ends_on_bad_tag()
{
    return __atomic_load_n(&guard.on_bad_tag, __ATOMIC_RELAXED) == IPP_BAD_TAG_END;
}

bool guard_admits(uint32_t peer_addr)
{
    lock_take(&guard_lock);
    const Admission now = admission;
    lock_release(&guard_lock);
    return now.admit == nullptr || now.admit(peer_addr, now.context) != 0;
}
