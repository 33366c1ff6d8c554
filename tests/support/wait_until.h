/* SPDX-License-Identifier: MIT */
/* Waiting for a condition, never for a time. */
#pragma once

#include <chrono>
#include <thread>

/* Long enough for the slowest machine; only a test that fails waits for so long. */
constexpr std::chrono::seconds PATIENCE(30);

/* Looks at the condition until it holds. False when the time is over and it still does not. */
template <typename Condition>
bool wait_until(Condition condition, std::chrono::milliseconds deadline = PATIENCE)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
