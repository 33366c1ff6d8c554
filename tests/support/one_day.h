/* SPDX-License-Identifier: MIT */
/* For tests that speak of today. */
#pragma once

#include <ctime>

/* Looks again when the day (UTC) has ended meanwhile, so that what is seen belongs to one day. */
template <typename Look> auto seen_on_one_day(Look look)
{
    for (;;) {
        const auto today = std::time(nullptr) / 86400;
        auto seen = look();
        if (std::time(nullptr) / 86400 == today) {
            return seen;
        }
    }
}
