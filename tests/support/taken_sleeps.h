/* Sleeps that a test takes over: it learns how long they would have been and waits for none. */
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

/* While one lives, usleep and sleep of the thread that made it return at once. */
class TakenSleeps
{
public:
    /* `instead` runs in place of each sleep, is told the microseconds, and may not disturb errno.
     */
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
