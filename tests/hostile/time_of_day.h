/* SPDX-License-Identifier: MIT */
/* The time of day of this program and of the hosts that it starts. */
#pragma once

#include "support/system_calls.h"

#include <atomic>
#include <cstdint>
#include <memory>

/* While one lives, the time of day stands still where it is set. Beyond what time_t holds there is
 * none, as with a C library that has 32 bits for it. Make it before the host. */
class TimeOfDay
{
public:
    TimeOfDay(); /* at the system's present second */

    uint64_t now() const;
    void set(uint64_t seconds);

private:
    int read_clock(timeval *to) const;
    time_t read_seconds(time_t *to) const;
    bool read_clock_of_64_bits(long number, long clock, long to) const; /* false: another call */

    const std::shared_ptr<std::atomic<uint64_t>> seconds_; /* with the hosts, too */
    const Replaced<decltype(system_gettimeofday)> gettimeofday_{
        system_gettimeofday, [this](timeval *to, void *) { return read_clock(to); }};
    const Replaced<decltype(system_time)> time_{system_time,
                                                [this](time_t *to) { return read_seconds(to); }};
    const Replaced<decltype(system_syscall)> syscall_{
        system_syscall, [this](long number, long a, long b, long c, long d, long e, long f) {
            return read_clock_of_64_bits(number, a, b)
                       ? 0
                       : system_syscall.real(number, a, b, c, d, e, f);
        }};
};
