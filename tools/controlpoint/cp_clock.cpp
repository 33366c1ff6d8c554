/* SPDX-License-Identifier: MIT */
#include "cp_clock.h"

#include <cerrno>
#include <climits>
#include <ctime>
#include <poll.h>

int64_t cp_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

int64_t cp_deadline(uint32_t timeout_ms)
{
    return cp_now() + timeout_ms;
}

int cp_time_left(int64_t deadline)
{
    const int64_t left = deadline - cp_now();
    if (left <= 0) {
        return 0;
    }
    return left > INT_MAX ? INT_MAX : static_cast<int>(left);
}

int cp_wait_ready(int descriptor, short events, int64_t deadline)
{
    pollfd watched = {descriptor, events, 0};
    for (;;) {
        const int ready = poll(&watched, 1, cp_time_left(deadline));
        if (ready >= 0 || errno != EINTR) {
            return ready;
        }
    }
}
