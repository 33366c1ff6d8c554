/* For tests that speak of today. */
#pragma once

#include <chrono>
#include <ctime>
#include <thread>

/* Waits for the new day (UTC) when the present one is about to end. */
inline void stay_within_one_day()
{
    const long left = 86400 - static_cast<long>(std::time(nullptr) % 86400);
    if (left <= 30) {
        std::this_thread::sleep_for(std::chrono::seconds(left));
    }
}
