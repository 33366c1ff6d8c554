/* SPDX-License-Identifier: MIT */
#include "hostile/time_of_day.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <sys/mman.h>
#include <sys/syscall.h>

using Number = std::atomic<uint64_t>;

/* In memory that child processes share. */
static std::shared_ptr<Number> shared_number(uint64_t value)
{
    void *place =
        mmap(nullptr, sizeof(Number), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) {
        std::perror("mmap");
        std::abort();
    }
    return {new (place) Number(value), [](Number *number) { munmap(number, sizeof *number); }};
}

static bool is_clock_gettime64([[maybe_unused]] long number)
{
#ifdef SYS_clock_gettime64
    return number == SYS_clock_gettime64;
#else
    return false;
#endif
}

TimeOfDay::TimeOfDay() : seconds_(shared_number(static_cast<uint64_t>(time(nullptr))))
{
}

uint64_t TimeOfDay::now() const
{
    return *seconds_;
}

void TimeOfDay::set(uint64_t seconds)
{
    *seconds_ = seconds;
}

int TimeOfDay::read_clock(timeval *to) const
{
    if (now() > static_cast<uint64_t>(std::numeric_limits<time_t>::max())) {
        errno = EOVERFLOW;
        return -1;
    }
    *to = {static_cast<time_t>(now()), 0};
    return 0;
}

time_t TimeOfDay::read_seconds(time_t *to) const
{
    timeval present = {};
    const time_t seconds = read_clock(&present) == 0 ? present.tv_sec : -1;
    if (to != nullptr) {
        *to = seconds;
    }
    return seconds;
}

bool TimeOfDay::read_clock_of_64_bits(long number, long clock, long to) const
{
    if (!is_clock_gettime64(number) || clock != CLOCK_REALTIME) {
        return false;
    }
    const int64_t present[2] = {static_cast<int64_t>(now()), 0};
    std::memcpy(reinterpret_cast<void *>(to), present, sizeof present);
    return true;
}
