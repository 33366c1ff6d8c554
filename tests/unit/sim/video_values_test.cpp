/* SPDX-License-Identifier: MIT */
#include "video_values.h"

#include <gtest/gtest.h>

#include "state_json.h"
#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

TEST(VideoValues, AreKeptAsNumbersOrTexts)
{
    Television tv = sample_television();
    const Outcome number = keep_video_value(tv, "rate", int64_t{-5});
    EXPECT_EQ(number.words, "video value \"rate\" -> -5");
    ASSERT_EQ(codes(number), Codes{IPP_EVENT_VIDEO});
    EXPECT_EQ(number.events[0].value, 1u);
    EXPECT_EQ(number.events[0].text, "rate");
    EXPECT_EQ(keep_video_value(tv, "genre", std::string("noir")).words,
              "video value \"genre\" -> \"noir\"");
    EXPECT_EQ(video_values_json(tv.video_values).dump(), "{\"genre\":\"noir\",\"rate\":-5}");
    EXPECT_TRUE(keep_video_value(tv, "rate", int64_t{-5}).events.empty());
    EXPECT_EQ(codes(keep_video_value(tv, "rate", std::string("-5"))), Codes{IPP_EVENT_VIDEO});
}

TEST(VideoValues, AreNumbersWhenAPersonWritesDigits)
{
    EXPECT_EQ(written_value("12"), VideoValue(int64_t{12}));
    EXPECT_EQ(written_value("-9223372036854775808"), VideoValue(INT64_MIN));
    for (const char *text : {"", "12a", "1.5", "+1", "9223372036854775808", " 1"}) {
        EXPECT_EQ(written_value(text), VideoValue(std::string(text)));
    }
}

TEST(VideoValues, AreRefusedWithoutANameAndBeyondTheRoom)
{
    Television tv = sample_television();
    EXPECT_EQ(keep_video_value(tv, "", int64_t{1}).words,
              "video value \"\" -> 1 refused: a name has 1 to 64 bytes");
    for (int i = 0; i < 64; i++) {
        ASSERT_EQ(keep_video_value(tv, std::to_string(i), int64_t{i}).status, 0);
    }
    EXPECT_EQ(keep_video_value(tv, "more", int64_t{1}).words,
              "video value \"more\" -> 1 refused: no room");
    EXPECT_EQ(keep_video_value(tv, "7", int64_t{1}).status, 0);
}

} // namespace
