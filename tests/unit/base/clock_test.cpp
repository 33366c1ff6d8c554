/* SPDX-License-Identifier: MIT */
#include "base/clock.h"

#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "support/taken_time.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>
#include <vector>

#include <sys/syscall.h>

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

TEST(Clock, TellsSecondsWithoutASign)
{
    for (const uint32_t seconds :
         {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        const FrozenClock clock(seconds);
        EXPECT_EQ(get_current_time(), seconds);
    }
}

TEST(Clock, DropsMicroseconds)
{
    const Replaced clock(system_gettimeofday, [](timeval *to, void *) {
        *to = {0x7FFFFFFF, 999999};
        return 0;
    });
    EXPECT_EQ(get_current_time(), 0x7FFFFFFFU);
}

/* What gettimeofday does where the seconds do not fit its result. */
int refuse_time_of_day(timeval *, void *)
{
    errno = EOVERFLOW;
    return -1;
}

#ifdef SYS_clock_gettime64

TEST(ClockBeyond2038, IsTheSystems)
{
    int64_t seconds = 0;
    const Replaced clock(system_gettimeofday, refuse_time_of_day);
    const Replaced call(system_syscall,
                        [&](long number, long which, long to, long, long, long, long) -> long {
                            EXPECT_EQ(number, SYS_clock_gettime64);
                            EXPECT_EQ(which, CLOCK_REALTIME);
                            const int64_t now[2] = {seconds, 999999999};
                            memcpy(reinterpret_cast<void *>(to), now, sizeof now);
                            return 0;
                        });
    const std::vector<std::pair<int64_t, uint32_t>> expected = {
        {0x80000000, 0x80000000U},
        {0xFFFFFFFF, 0xFFFFFFFFU},
        {0x100000000, 0},
        {0x100000005, 5},
    };
    for (const auto &[told, read] : expected) {
        seconds = told;
        EXPECT_EQ(get_current_time(), read);
    }
}

TEST(ClockBeyond2038, IsReallyAskedFor)
{
    const Replaced clock(system_gettimeofday, refuse_time_of_day);
    const time_t before = time(nullptr);
    const uint32_t now = get_current_time();
    EXPECT_GE(now, static_cast<uint32_t>(before));
    EXPECT_LE(now, static_cast<uint32_t>(time(nullptr)) + 1); /* which may lag behind a little */
}

#else

TEST(ClockBeyond2038, FitsTheTimeOfDay)
{
    const std::vector<std::pair<int64_t, uint32_t>> expected = {
        {0x80000000, 0x80000000U},
        {0x100000000, 0},
        {0x100000005, 5},
        {-1, 0xFFFFFFFFU},
    };
    for (const auto &[told, read] : expected) {
        const int64_t seconds = told;
        const Replaced clock(system_gettimeofday, [seconds](timeval *to, void *) {
            *to = {static_cast<time_t>(seconds), 0};
            return 0;
        });
        EXPECT_EQ(get_current_time(), read);
    }
}

TEST(ClockBeyond2038, StandsAtZeroWhenThereIsNoClock)
{
    const Replaced clock(system_gettimeofday, refuse_time_of_day);
    EXPECT_EQ(get_current_time(), 0u);
}

#endif

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

TEST(Clock, CountsElapsedTimeInWholeUnits)
{
    const Replaced clock(system_clock_gettime, [](clockid_t which, timespec *to) {
        EXPECT_EQ(which, CLOCK_MONOTONIC);
        *to = {0x7FFFFFFF, 987654999};
        return 0;
    });
    EXPECT_EQ(clock_elapsed_us(), 2147483647987654u);
    EXPECT_EQ(clock_elapsed_ms(), 2147483647987u);
}

} // namespace
