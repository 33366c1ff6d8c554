/* SPDX-License-Identifier: MIT */
#include "local_time.h"

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace
{

TEST(LocalTime, IsThatOfTheZone)
{
    const struct {
        const char *zone;
        uint32_t seconds;
        const char *text;
    } rows[] = {
        {"UTC0", 0, "00:00"},
        {"UTC0", 1795292100, "20:15"},
        {"UTC0", 1709251199, "23:59"},
        {"IST-5:30", 1795292100, "01:45"},
        {"NST3:30", 1795292100, "16:45"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1795292100, "21:15"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1782000000, "02:00"},
    };
    for (const auto &row : rows) {
        const TimeZone zone(row.zone);
        EXPECT_EQ(tools::time_of_day(row.seconds), row.text) << row.zone;
    }
}

} // namespace
