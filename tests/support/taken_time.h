/* SPDX-License-Identifier: MIT */
/* Time that a test takes over. */
#pragma once

#include "support/system_calls.h"

#include <cstdint>
#include <vector>

/* The time of day stands still while it lives, at a moment that the test chooses. The service must
 * not be running when it begins or ends. */
class FrozenClock
{
public:
    explicit FrozenClock(uint32_t seconds = 1700000000) : seconds_(seconds)
    {
    }

    uint32_t now() const
    {
        return seconds_;
    }

    void advance(int seconds)
    {
        seconds_ += static_cast<uint32_t>(seconds);
    }

    void set(uint32_t seconds)
    {
        seconds_ = seconds;
    }

private:
    std::atomic<uint32_t> seconds_;
    const Replaced<decltype(system_gettimeofday)> clock_{system_gettimeofday,
                                                         [this](timeval *to, void *) {
                                                             *to = {static_cast<time_t>(now()), 0};
                                                             return 0;
                                                         }};
};

/* While one lives, usleep and sleep of the thread that made it return at once. Where a test
 * replaces one of the two itself, that comes first. */
class TakenSleeps
{
public:
    /* `instead` runs in place of each sleep and is passed the microseconds; errno survives it. */
    explicit TakenSleeps(std::function<void(uint64_t microseconds)> instead = {});
    ~TakenSleeps();
    TakenSleeps(const TakenSleeps &) = delete;
    TakenSleeps &operator=(const TakenSleeps &) = delete;

    const std::vector<uint64_t> &all() const; /* in microseconds, in order */
    void take(uint64_t microseconds);

private:
    std::function<void(uint64_t)> instead_;
    std::vector<uint64_t> all_;
};

/* While one lives, the monotonic clock goes on by the sleeps of the thread that made it, none of
 * which is waited for, and by nothing else. */
class SleptTime
{
public:
    /* `meanwhile` runs in each sleep and is passed its end: so many milliseconds after the
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
