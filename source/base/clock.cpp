/* SPDX-License-Identifier: MIT */
#include "base/clock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

/* Where time_t has 32 bits, gettimeofday fails from 2038 on. The system call with 64 bits goes on
 * working, and its seconds fit an unsigned 32-bit number until 2106. */
static uint32_t seconds_beyond_time_t()
{
    int64_t now[2] = {}; /* seconds, nanoseconds */
#ifdef SYS_clock_gettime64
    syscall(SYS_clock_gettime64, CLOCK_REALTIME, now);
#endif
    return static_cast<uint32_t>(now[0]);
}

uint32_t get_current_time()
{
    struct timeval now = {};
    return gettimeofday(&now, nullptr) == 0 ? static_cast<uint32_t>(now.tv_sec)
                                            : seconds_beyond_time_t();
}

time_t printTime(const char *)
{
    return time(nullptr);
}

uint64_t clock_elapsed_ms()
{
    return clock_elapsed_us() / 1000;
}

uint64_t clock_elapsed_us()
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

uint32_t clock_between_us(uint64_t from_us, uint64_t to_us)
{
    const uint64_t passed_us = to_us > from_us ? to_us - from_us : 0;
    return passed_us > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(passed_us);
}
