/* Time that only sleeps make pass. */
#pragma once

#include "support/replaced_call.h"
#include "support/taken_sleeps.h"

#include <utility>

/* While one lives, the clock that nobody can set goes on by the sleeps of the thread that made it,
 * none of which is waited for, and by nothing else. */
class SleptTime
{
public:
    /* `meanwhile` runs in each sleep, and is told when that ends: so many milliseconds after the
     * beginning. */
    explicit SleptTime(std::function<void(uint64_t ms)> meanwhile = {})
        : meanwhile_(std::move(meanwhile))
    {
    }

    /* So much more time passes. */
    void pass(uint64_t ms)
    {
        slept_us_ += ms * 1000;
    }

private:
    static constexpr uint64_t BEGIN_US = 5000000;

    const std::function<void(uint64_t)> meanwhile_;
    uint64_t slept_us_ = 0;
    const TakenSleeps sleeps_{[this](uint64_t microseconds) {
        slept_us_ += microseconds;
        if (meanwhile_) {
            meanwhile_(slept_us_ / 1000);
        }
    }};
    const Replaced<decltype(system_clock_gettime)> clock_{
        system_clock_gettime, [this](clockid_t which, timespec *to) {
            if (which != CLOCK_MONOTONIC) {
                return system_clock_gettime.real(which, to);
            }
            const uint64_t now_us = BEGIN_US + slept_us_;
            to->tv_sec = static_cast<time_t>(now_us / 1000000);
            to->tv_nsec = static_cast<long>(now_us % 1000000 * 1000);
            return 0;
        }};
};
