/* SPDX-License-Identifier: MIT */
#include "settings.h"

#include <gtest/gtest.h>

#include "state_json.h"
#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

TEST(Settings, AreKeptAndToldWhenTheyChange)
{
    Television tv = sample_television();
    const Outcome outcome = keep_setting(tv, "language", "fr", 0);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.words, "setting \"language\" -> \"fr\"");
    ASSERT_EQ(codes(outcome), Codes{IPP_EVENT_SETTING});
    EXPECT_EQ(outcome.events[0].text, "language");
    EXPECT_EQ(setting_json(tv.settings, "language").dump(),
              "{\"name\":\"language\",\"value\":\"fr\"}");
    EXPECT_TRUE(keep_setting(tv, "language", "fr", 0).events.empty());
}

TEST(Settings, AreOnlyReadWithAnEmptyValue)
{
    Television tv = sample_television();
    const Outcome outcome = keep_setting(tv, "language", "", 1);
    EXPECT_EQ(outcome.words, "setting \"language\"?");
    EXPECT_TRUE(outcome.events.empty());
    EXPECT_EQ(setting_json(tv.settings, "language").dump(),
              "{\"name\":\"language\",\"value\":\"en\"}");
    EXPECT_EQ(setting_json(tv.settings, "none").dump(), "{\"name\":\"none\",\"value\":null}");
}

TEST(Settings, OfAnotherKindThanPlainAreNeitherPrintedNorTold)
{
    Television tv = sample_television();
    const Outcome outcome = keep_setting(tv, "wifi", "hunter2", 1);
    EXPECT_EQ(outcome.words, "setting \"wifi\" -> a secret of 7 bytes");
    ASSERT_EQ(outcome.events.size(), 1u);
    EXPECT_EQ(outcome.events[0].value, 1u);
    EXPECT_EQ(outcome.events[0].text, "wifi");
    EXPECT_EQ(tv.settings["wifi"].value, "hunter2");
    EXPECT_EQ(setting_json(tv.settings, "wifi").dump(), "{\"name\":\"wifi\",\"value\":null}");
    EXPECT_EQ(settings_json(tv.settings).dump().find("hunter2"), std::string::npos);
    EXPECT_EQ(codes(keep_setting(tv, "wifi", "hunter2", 0)), Codes{IPP_EVENT_SETTING});
}

TEST(Settings, AreFoundByNameAndCountedByItsBeginning)
{
    const Settings settings = {{"a", {"1", 0}}, {"ab", {"2", 0}}, {"b", {"3", 1}}};
    EXPECT_EQ(settings_json(settings_named(settings, "")).dump(),
              "{\"a\":\"1\",\"ab\":\"2\",\"b\":null}");
    EXPECT_EQ(settings_json(settings_named(settings, "ab")).dump(), "{\"ab\":\"2\"}");
    EXPECT_EQ(settings_json(settings_named(settings, "z")).dump(), "{}");
    EXPECT_EQ(count_settings(settings, ""), 3u);
    EXPECT_EQ(count_settings(settings, "a"), 2u);
    EXPECT_EQ(count_settings(settings, "abc"), 0u);
}

TEST(Settings, AreRefusedWithoutANameAndBeyondTheRoom)
{
    Television tv = sample_television();
    EXPECT_EQ(keep_setting(tv, "", "x", 0).words,
              "setting \"\" -> \"x\" refused: a name has 1 to 64 bytes");
    EXPECT_EQ(keep_setting(tv, std::string(65, 'n'), "x", 0).status, -1);
    for (int i = 4; i < 64; i++) {
        ASSERT_EQ(keep_setting(tv, std::to_string(i), "x", 0).status, 0);
    }
    EXPECT_EQ(keep_setting(tv, "more", "x", 0).words, "setting \"more\" -> \"x\" refused: no room");
    EXPECT_EQ(keep_setting(tv, "language", "x", 0).status, 0);
}

} // namespace
