/* The time of day of this program and of the hosts that it starts. */
#pragma once

#include <atomic>
#include <cstdint>

/* While one lives, the time of day stands still where it is set. Beyond what time_t holds there is
 * none, as with a C library that has 32 bits for it. Make it before the host. */
class TimeOfDay
{
public:
    TimeOfDay(); /* at the system's present second */
    ~TimeOfDay();
    TimeOfDay(const TimeOfDay &) = delete;
    TimeOfDay &operator=(const TimeOfDay &) = delete;

    uint64_t now() const;
    void set(uint64_t seconds);

private:
    std::atomic<uint64_t> *seconds_;
};
