/* SPDX-License-Identifier: MIT */
#include "base/stats.h"

#include "base/lock.h"
#include "base/sized_record.h"

/* Its numbers of 32 bits are atomic. */
static IppStats stats = {};

/* For what is longer than an atomic number may be, or belongs together. */
static Lock stats_lock;

uint32_t stats_count(uint32_t IppStats::*counter)
{
    return __atomic_add_fetch(&(stats.*counter), 1, __ATOMIC_RELAXED);
}

uint32_t stats_count_down(uint32_t IppStats::*counter)
{
    return __atomic_sub_fetch(&(stats.*counter), 1, __ATOMIC_RELAXED);
}

void stats_raise(uint32_t IppStats::*counter, uint32_t value)
{
    uint32_t now = __atomic_load_n(&(stats.*counter), __ATOMIC_RELAXED);
    while (now < value && !__atomic_compare_exchange_n(&(stats.*counter), &now, value, true,
                                                       __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
    }
}

void stats_slot_took(uint32_t microseconds, uint32_t code)
{
    if (microseconds <= __atomic_load_n(&stats.slot_longest_us, __ATOMIC_RELAXED)) {
        return;
    }
    lock_take(&stats_lock);
    if (microseconds > __atomic_load_n(&stats.slot_longest_us, __ATOMIC_RELAXED)) {
        __atomic_store_n(&stats.slot_longest_us, microseconds, __ATOMIC_RELAXED);
        __atomic_store_n(&stats.slot_longest_code, code, __ATOMIC_RELAXED);
    }
    lock_release(&stats_lock);
}

static void add_bytes(uint64_t IppStats::*counter, uint32_t bytes)
{
    lock_take(&stats_lock);
    stats.*counter += bytes;
    lock_release(&stats_lock);
}

void stats_received(uint32_t bytes)
{
    add_bytes(&IppStats::bytes_received, bytes);
}

void stats_sent(uint32_t bytes)
{
    add_bytes(&IppStats::bytes_sent, bytes);
}

static void copy_number(IppStats *to, uint32_t IppStats::*counter)
{
    to->*counter = __atomic_load_n(&(stats.*counter), __ATOMIC_RELAXED);
}

static IppStats snapshot()
{
    static uint32_t IppStats::*const NUMBERS[] = {
        &IppStats::connections,
        &IppStats::connections_ever,
        &IppStats::connections_refused,
        &IppStats::requests,
        &IppStats::requests_done,
        &IppStats::requests_failed,
        &IppStats::requests_silent,
        &IppStats::requests_dropped,
        &IppStats::bad_frames,
        &IppStats::queue_highest,
        &IppStats::slot_longest_us,
        &IppStats::slot_longest_code,
        &IppStats::events,
        &IppStats::captures,
        &IppStats::pushes,
        &IppStats::searches_answered,
        &IppStats::searches_refused,
    };
    IppStats copy = {};
    lock_take(&stats_lock);
    for (uint32_t IppStats::*const number : NUMBERS) {
        copy_number(&copy, number);
    }
    copy.bytes_received = stats.bytes_received;
    copy.bytes_sent = stats.bytes_sent;
    lock_release(&stats_lock);
    return copy;
}

int ipp_stats(IppStats *to, size_t size)
{
    if (to == nullptr) {
        return -1;
    }
    const IppStats now = snapshot();
    sized_record_give(to, size, &now, sizeof now);
    return 0;
}
