/* SPDX-License-Identifier: MIT */
#include "guide.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

const Schedule &three()
{
    static const Schedule schedule = {
        {1000, 100, "A", "", ""}, {1100, 50, "B", "", ""}, {1200, 100, "C", "", ""}};
    return schedule;
}

std::string title(const Programme *programme)
{
    return programme == nullptr ? "nothing" : programme->title;
}

TEST(Guide, TellsWhatIsOnAndWhatComesNext)
{
    const struct {
        uint32_t when;
        const char *on;
        const char *next;
    } rows[] = {
        {0, "nothing", "A"},
        {999, "nothing", "A"},
        {1000, "A", "B"},
        {1099, "A", "B"},
        {1100, "B", "C"},
        {1149, "B", "C"},
        {1150, "nothing", "C"},
        {1299, "C", "nothing"},
        {1300, "nothing", "nothing"},
        {UINT32_MAX, "nothing", "nothing"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(title(on_at(three(), row.when)), row.on) << row.when;
        EXPECT_EQ(title(next_after(three(), row.when)), row.next) << row.when;
    }
    EXPECT_EQ(on_at({}, 5), nullptr);
    EXPECT_EQ(next_after({}, 5), nullptr);
}

TEST(Guide, KnowsProgrammesThatLastBeyondTheCalendar)
{
    const Schedule schedule = {{UINT32_MAX - 10, 3600, "Late", "", ""}};
    EXPECT_EQ(end_of(schedule[0]), 4294970885u);
    EXPECT_EQ(title(on_at(schedule, UINT32_MAX)), "Late");
}

TEST(Guide, FindsTheScheduleByTheChannelsGuideName)
{
    Guide guide;
    guide.schedules["a.ex"] = three();
    EXPECT_EQ(schedule_of(guide, {1, "A", "", "a.ex", ""}).size(), 3u);
    EXPECT_TRUE(schedule_of(guide, {2, "a.ex", "", "b.ex", ""}).empty());
    EXPECT_EQ(count_programmes(guide), 3u);
}

TEST(Guide, MovesByWholeDaysSoThatTheFirstIsTheGivenOne)
{
    Guide guide;
    guide.schedules["a"] = {{10 * 86400 + 3600, 60, "A", "", ""}};
    guide.schedules["b"] = {{9 * 86400 + 80000, 60, "B", "", ""}, {11 * 86400, 60, "C", "", ""}};
    guide.schedules["c"] = {};
    move_to_day(guide, 20000);
    EXPECT_EQ(guide.schedules["b"][0].start, 20000u * 86400 + 80000);
    EXPECT_EQ(guide.schedules["a"][0].start, 20001u * 86400 + 3600);
    EXPECT_EQ(guide.schedules["b"][1].start, 20002u * 86400);
    move_to_day(guide, 3);
    EXPECT_EQ(guide.schedules["a"][0].start, 4u * 86400 + 3600);
}

TEST(Guide, LosesWhatWouldMoveBeyondTheCalendar)
{
    Guide guide;
    guide.schedules["a"] = {{0, 60, "A", "", ""}, {4000000000U, 60, "B", "", ""}};
    move_to_day(guide, 20000);
    ASSERT_EQ(guide.schedules["a"].size(), 1u);
    EXPECT_EQ(guide.schedules["a"][0].title, "A");
    Guide empty;
    move_to_day(empty, 20000);
    EXPECT_EQ(count_programmes(empty), 0u);
}

} // namespace
