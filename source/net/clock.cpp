#include "net/clock.h"

#include <sys/time.h>

uint32_t get_current_time()
{
    struct timeval now = {};
    gettimeofday(&now, nullptr);
    return static_cast<uint32_t>(now.tv_sec);
}

time_t printTime(const char *)
{
    return time(nullptr);
}

uint64_t clock_elapsed_ms()
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}
