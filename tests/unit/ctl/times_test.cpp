/* SPDX-License-Identifier: MIT */
#include "times.h"

#include "failure.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace
{

constexpr time_t now = 1795292100; /* 2026-11-21 20:15 in Greenwich */

class CtlTimes : public testing::Test
{
protected:
    void SetUp() override
    {
        live_in("UTC0");
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }

    static void live_in(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

    static void expect_refused(const std::string &text)
    {
        EXPECT_THROW(ctl::parse_time(text, now), ctl::Failure) << text;
    }
};

TEST_F(CtlTimes, AreWrittenAsTheyAreWhereTheTerminalIs)
{
    EXPECT_EQ(ctl::day_and_time(1795292100), "2026-11-21 20:15");
    EXPECT_EQ(ctl::time_of_day(1795292100), "20:15");
    EXPECT_EQ(ctl::day_and_time(0), "1970-01-01 00:00");
    live_in("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(ctl::day_and_time(1795292100), "2026-11-21 21:15");
    EXPECT_EQ(ctl::time_of_day(1782000000), "02:00");
}

TEST_F(CtlTimes, AreNumbersWhenTheSystemCannotTellThem)
{
    EXPECT_EQ(ctl::day_and_time(UINT64_MAX), "@18446744073709551615");
    EXPECT_EQ(ctl::time_of_day(UINT64_MAX), "@18446744073709551615");
}

TEST_F(CtlTimes, AreReadInEveryForm)
{
    EXPECT_EQ(ctl::parse_time("now", now), 1795292100U);
    EXPECT_EQ(ctl::parse_time("@0", now), 0U);
    EXPECT_EQ(ctl::parse_time("@4294967295", now), 4294967295U);
    EXPECT_EQ(ctl::parse_time("20:15", now), 1795292100U);
    EXPECT_EQ(ctl::parse_time("0:00", now), 1795219200U);
    EXPECT_EQ(ctl::parse_time("2026-11-21", now), 1795219200U);
    EXPECT_EQ(ctl::parse_time("2026-11-21 20:15", now), 1795292100U);
    EXPECT_EQ(ctl::parse_time("2026-11-21T20:15", now), 1795292100U);
    live_in("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(ctl::parse_time("2026-11-21 21:15", now), 1795292100U);
    EXPECT_EQ(ctl::parse_time("2026-06-21 02:00", now), 1782000000U);
}

TEST_F(CtlTimes, AreReadInNoOtherForm)
{
    for (const char *text :
         {"",           "noon",       "20",          "24:00",       "20:60",
          "20:15:00",   "20:15:",     ":15",         "20:",         "-1:00",
          "2026-11",    "2026-13-01", "2026-00-01",  "2026-02-30",  "2026-11-21-",
          "2026-11-00", "1969-12-31", "2106-01-01",  "2026-11-21 ", "2026-11-21 20",
          " 20:15",     "0x10:00",    "@4294967296", "@-1",         "@"}) {
        expect_refused(text);
    }
}

TEST_F(CtlTimes, MayBeDurations)
{
    EXPECT_EQ(ctl::duration_text(0), "0:00:00");
    EXPECT_EQ(ctl::duration_text(3723), "1:02:03");
    EXPECT_EQ(ctl::duration_text(UINT32_MAX), "1193046:28:15");
    EXPECT_EQ(ctl::parse_duration("0"), 0U);
    EXPECT_EQ(ctl::parse_duration("90"), 90U);
    EXPECT_EQ(ctl::parse_duration("1:30"), 90U);
    EXPECT_EQ(ctl::parse_duration("1:02:03"), 3723U);
    EXPECT_EQ(ctl::parse_duration("2147483647"), 2147483647U);
    EXPECT_EQ(ctl::parse_duration("100:00"), 6000U);
    for (const char *text : {"", "x", "-1", "2147483648", "1:60", "1:00:60", "1:2:3:4", "1:", ":1",
                             "0x10", "596523:14:08", "1.5"}) {
        EXPECT_THROW(ctl::parse_duration(text), ctl::Failure) << text;
    }
}

} // namespace
