/* SPDX-License-Identifier: MIT */
#include "base/running_slot.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/lock.h"
#include "base/log.h"
#include "base/notices.h"

namespace
{

struct RunningSlot {
    IppRequest request;
    uint64_t begun_us; /* 0: none runs */
    bool warned;
};

} // namespace

static Lock running_lock;
static RunningSlot running GUARDED_BY(running_lock) = {};

void running_slot_begin(const IppRequest &request, uint64_t now_us)
{
    lock_take(&running_lock);
    running = {request, now_us, false};
    lock_release(&running_lock);
}

void running_slot_end()
{
    lock_take(&running_lock);
    running.begun_us = 0;
    lock_release(&running_lock);
}

static uint64_t limit_us()
{
    return uint64_t{guard_slot_warn_ms()} * 1000;
}

/* True for one that is to be warned of, which counts as done. */
static bool take_slow(uint64_t limit, uint64_t now_us, IppRequest *request)
{
    lock_take(&running_lock);
    const bool watched = running.begun_us != 0 && !running.warned;
    const bool slow = watched && now_us >= running.begun_us + limit; /* it may have just begun */
    if (slow) {
        running.warned = true;
        *request = running.request;
        request->slot_us = clock_between_us(running.begun_us, now_us);
    }
    lock_release(&running_lock);
    return slow;
}

void running_slot_check()
{
    const uint64_t limit = limit_us();
    IppRequest request = {};
    if (limit == 0 || !take_slow(limit, clock_elapsed_us(), &request)) {
        return;
    }
    log_warning(
        "tvlink: a slot has been running for %u ms, and every phone waits: frame type 0x%02x, "
        "code 0x%04x\n",
        request.slot_us / 1000, static_cast<unsigned>(request.type),
        static_cast<unsigned>(request.code));
    notice_slot_is_slow(request);
}

static int shorter(int most_ms, uint64_t us)
{
    const uint64_t ms = (us + 999) / 1000;
    return ms < static_cast<uint64_t>(most_ms) ? static_cast<int>(ms) : most_ms;
}

int running_slot_wait_ms(int most_ms, bool busy)
{
    const uint64_t limit = limit_us();
    if (limit == 0) {
        return most_ms;
    }
    lock_take(&running_lock);
    const bool watched = running.begun_us != 0 && !running.warned;
    const uint64_t due_us = running.begun_us + limit;
    lock_release(&running_lock);
    if (!watched) {
        return busy ? shorter(most_ms, limit) : most_ms;
    }
    const uint64_t now_us = clock_elapsed_us();
    return shorter(most_ms, due_us > now_us ? due_us - now_us : 0);
}
