#include "net/clock.h"

#include "support/captured_lines.h"

#include <gtest/gtest.h>

#include <ctime>

namespace
{

TEST(Clock, TellsWholeSecondsSinceTheEpoch)
{
    timespec before = {};
    timespec after = {};
    clock_gettime(CLOCK_REALTIME, &before);
    const uint32_t now = get_current_time();
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE(now, static_cast<uint32_t>(before.tv_sec));
    EXPECT_LE(now, static_cast<uint32_t>(after.tv_sec));
}

TEST(Clock, IsReadByPrintTimeWhichPrintsNothing)
{
    const CapturedStreams streams;
    std::string printed;
    {
        const CapturedLines lines;
        const time_t before = time(nullptr);
        for (const char *label : {"first time--- ", "end time--- ", ""}) {
            const time_t now = printTime(label);
            EXPECT_GE(now, before);
            EXPECT_LE(now, time(nullptr));
        }
        EXPECT_GE(printTime(nullptr), before);
        EXPECT_EQ(lines.all().size(), 0u);
    }
    (void)printTime("first time--- ");
    EXPECT_EQ(streams.out() + streams.err(), "");
}

uint64_t monotonic_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

TEST(Clock, CountsElapsedMillisecondsThatNobodySets)
{
    for (int i = 0; i < 1000; i++) {
        const uint64_t before = monotonic_ms();
        const uint64_t now = clock_elapsed_ms();
        EXPECT_GE(now, before);
        EXPECT_LE(now, monotonic_ms());
    }
}

} // namespace
