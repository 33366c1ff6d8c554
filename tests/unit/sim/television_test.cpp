/* SPDX-License-Identifier: MIT */
#include "unit/sim/sample_television.h"

#include <gtest/gtest.h>

#include "keys.h"

using namespace sim;

namespace
{

TEST(Television, StepsThroughItsChannelsAndRoundTheirEnds)
{
    Television tv = sample_television();
    const Outcome up = step_channel(tv, 2);
    EXPECT_EQ(up.status, 0);
    EXPECT_EQ(up.words, "channel +2 -> 3 (Films)");
    ASSERT_EQ(codes(up), Codes{IPP_EVENT_CHANNEL});
    EXPECT_EQ(up.events[0].value, 3u);
    EXPECT_EQ(up.events[0].text, "Films");
    EXPECT_EQ(step_channel(tv, -3).words, "channel -3 -> 8 (Cooking)");
    EXPECT_EQ(step_channel(tv, 255).words, "channel +255 -> 7 (Travel)");
    EXPECT_EQ(step_channel(tv, -255).words, "channel -255 -> 8 (Cooking)");
}

TEST(Television, ReportsNothingWhenTheChannelStaysTheSame)
{
    Television tv = sample_television();
    const Outcome outcome = step_channel(tv, 8);
    EXPECT_EQ(outcome.words, "channel +8 -> 1 (News)");
    EXPECT_TRUE(outcome.events.empty());
}

TEST(Television, StaysOnItsChannelWhenItGetsOtherLists)
{
    Television tv = sample_television();
    step_channel(tv, 2);
    const std::vector<Channel> others = {{9, "Garden", "", "", ""}, {3, "Films", "", "", ""}};
    const Outcome outcome = replace_lineup(tv, others, {});
    ASSERT_EQ(codes(outcome), Codes{IPP_EVENT_ORDER});
    EXPECT_EQ(outcome.events[0].value, 2u);
    EXPECT_EQ(outcome.events[0].data, (std::vector<uint8_t>{9, 0, 3, 0}));
    EXPECT_EQ(channel_words(current_channel(tv)), "3 (Films)");
}

TEST(Television, TellsWhenOtherListsChangeItsChannel)
{
    Television tv = sample_television();
    step_channel(tv, 2);
    const Outcome renamed =
        replace_lineup(tv, {{9, "Garden", "", "", ""}, {3, "Cinema", "", "", ""}}, {});
    ASSERT_EQ(codes(renamed), (Codes{IPP_EVENT_ORDER, IPP_EVENT_CHANNEL}));
    EXPECT_EQ(renamed.events[1].value, 3u);
    EXPECT_EQ(renamed.events[1].text, "Cinema");
    const Outcome gone = replace_lineup(tv, {{9, "Garden", "", "", ""}}, {});
    ASSERT_EQ(codes(gone), (Codes{IPP_EVENT_ORDER, IPP_EVENT_CHANNEL}));
    EXPECT_EQ(gone.events[1].value, 9u);
    EXPECT_EQ(channel_words(current_channel(tv)), "9 (Garden)");
}

TEST(Television, KeepsItsVolumeBetweenSilenceAndFull)
{
    Television tv = sample_television();
    EXPECT_EQ(step_volume(tv, 5).words, "volume +5 -> 25");
    const Outcome full = step_volume(tv, 255);
    EXPECT_EQ(full.words, "volume +255 -> 100");
    ASSERT_EQ(codes(full), Codes{IPP_EVENT_VOLUME});
    EXPECT_EQ(full.events[0].value, 100u);
    EXPECT_TRUE(step_volume(tv, 1).events.empty());
    EXPECT_EQ(step_volume(tv, -255).words, "volume -255 -> 0");
    EXPECT_EQ(tv.volume, 0);
}

TEST(Television, IsHeardAgainWhenItIsMadeLouder)
{
    Television tv = sample_television();
    EXPECT_EQ(codes(set_mute(tv, true)), Codes{IPP_EVENT_MUTE});
    EXPECT_TRUE(set_mute(tv, true).events.empty());
    EXPECT_EQ(codes(step_volume(tv, -1)), Codes{IPP_EVENT_VOLUME});
    EXPECT_TRUE(tv.muted);
    EXPECT_EQ(codes(step_volume(tv, 1)), (Codes{IPP_EVENT_VOLUME, IPP_EVENT_MUTE}));
    EXPECT_FALSE(tv.muted);
}

TEST(Television, KnowsItsPictureModesAndRefusesOthers)
{
    Television tv = sample_television();
    const Outcome cinema = set_picture_mode(tv, 2);
    EXPECT_EQ(cinema.words, "picture mode 2 -> cinema");
    EXPECT_EQ(codes(cinema), Codes{IPP_EVENT_PICTURE});
    EXPECT_EQ(set_picture_mode(tv, 4).status, -1);
    EXPECT_EQ(tv.picture_mode, 2u);
}

TEST(Television, ActsOnKeysAndRemembersTheLast)
{
    Television tv = sample_television();
    const Outcome louder = press_key(tv, 115, 0);
    EXPECT_EQ(louder.words, "key volume-up (115, 0): volume +1 -> 21");
    EXPECT_EQ(codes(louder), (Codes{IPP_EVENT_KEY, IPP_EVENT_VOLUME}));
    EXPECT_EQ(louder.events[0].value, 115u);
    EXPECT_EQ(louder.events[0].text, "volume-up");
    EXPECT_EQ(press_key(tv, 5, 0).words, "key 4 (5, 0): channel 4 -> 4 (Music)");
    EXPECT_EQ(press_key(tv, 10, 0).words, "key 9 (10, 0): channel 9 refused: no such channel");
    const Outcome unknown = press_key(tv, 4711, 12);
    EXPECT_EQ(unknown.status, 0);
    EXPECT_EQ(unknown.words, "key unknown (4711, 12)");
    EXPECT_EQ(codes(unknown), Codes{IPP_EVENT_KEY});
    EXPECT_EQ(tv.last_key, 4711u);
}

TEST(Television, ObeysOnlyPowerInStandby)
{
    Television tv = sample_television();
    EXPECT_EQ(codes(press_key(tv, 116, 0)), (Codes{IPP_EVENT_KEY, IPP_EVENT_POWER}));
    EXPECT_FALSE(tv.on);
    for (const Outcome &outcome :
         {step_channel(tv, 1), step_volume(tv, 1), set_mute(tv, true), set_picture_mode(tv, 1),
          press_key(tv, 28, 0), type_text(tv, "a", "b"), search_channels(tv), open_stream(tv, "a"),
          play(tv, 0), seek_player(tv, 0, 0), set_player_volume(tv, 1)}) {
        EXPECT_EQ(outcome.status, -1) << outcome.words;
        EXPECT_NE(outcome.words.find("refused: in standby"), std::string::npos) << outcome.words;
        EXPECT_TRUE(outcome.events.empty()) << outcome.words;
    }
    EXPECT_EQ(press_key(tv, 116, 0).words, "key power (116, 0): power -> on");
    EXPECT_TRUE(tv.on);
}

TEST(Television, ReportsATextOnceUntilItChanges)
{
    Television tv = sample_television();
    const Outcome typed = type_text(tv, "Hello", "field");
    EXPECT_EQ(typed.words, "text \"Hello\" with \"field\"");
    ASSERT_EQ(codes(typed), Codes{IPP_EVENT_TEXT});
    EXPECT_EQ(typed.events[0].value, 5u);
    EXPECT_EQ(typed.events[0].text, "Hello");
    EXPECT_TRUE(type_text(tv, "Hello", "field").events.empty());
    EXPECT_EQ(codes(type_text(tv, "Hello", "other")), Codes{IPP_EVENT_TEXT});
}

TEST(Television, ReordersChannelsAndKeepsTheOneThatIsShown)
{
    Television tv = sample_television();
    const Outcome swapped = reorder_channels(tv, 1, 3, 1);
    ASSERT_EQ(codes(swapped), Codes{IPP_EVENT_ORDER});
    const std::vector<uint8_t> after_swap = {3, 0, 2, 0, 1, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8, 0};
    EXPECT_EQ(swapped.events[0].data, after_swap);
    EXPECT_EQ(swapped.events[0].value, 8u);
    EXPECT_EQ(tv.channels[tv.current].number, 1);
    EXPECT_EQ(reorder_channels(tv, 8, 3, 2).status, 0);
    const std::vector<uint8_t> after_move = {8, 0, 3, 0, 2, 0, 1, 0, 4, 0, 5, 0, 6, 0, 7, 0};
    EXPECT_EQ(channel_order(tv), after_move);
    EXPECT_EQ(tv.channels[tv.current].number, 1);
    EXPECT_TRUE(reorder_channels(tv, 2, 2, 1).events.empty());
    EXPECT_EQ(reorder_channels(tv, 1, 99, 1).status, -1);
    EXPECT_EQ(reorder_channels(tv, 1, 2, 3).status, -1);
}

TEST(Television, FindsChannelsUpToALimit)
{
    Television tv = sample_television();
    EXPECT_EQ(search_channels(tv).words, "channel search -> 9 (Local 9)");
    for (int i = 0; i < 7; i++) {
        EXPECT_EQ(codes(search_channels(tv)), Codes{IPP_EVENT_ORDER});
    }
    EXPECT_EQ(tv.channels.size(), 16u);
    const Outcome nothing = search_channels(tv);
    EXPECT_EQ(nothing.words, "channel search -> nothing new");
    EXPECT_TRUE(nothing.events.empty());
}

TEST(Television, PairsAndTakesANewName)
{
    Television tv = sample_television();
    EXPECT_EQ(codes(pair_phone(tv, "Ann's phone")), Codes{IPP_EVENT_PHONE});
    EXPECT_TRUE(pair_phone(tv, "Ann's phone").events.empty());
    EXPECT_EQ(codes(rename_television(tv, "Kitchen")), Codes{IPP_EVENT_NAME});
    EXPECT_EQ(tv.name, "Kitchen");
    EXPECT_TRUE(rename_television(tv, "Kitchen").events.empty());
}

TEST(Television, NamesEveryEventOnce)
{
    for (const EventKind &kind : event_kinds()) {
        EXPECT_STREQ(event_name(kind.code), kind.name);
    }
    EXPECT_STREQ(event_name(1), "unknown");
}

TEST(Television, SaysItsStateInOneLine)
{
    Television tv = sample_television();
    EXPECT_EQ(summary(tv), "on, channel 1 (News), volume 20, picture standard, text \"\", "
                           "no phone paired, player stopped");
    tv.muted = true;
    tv.text = "a\nb";
    pair_phone(tv, "p");
    set_power(tv, false);
    EXPECT_EQ(summary(tv), "standby, channel 1 (News), volume 20 (muted), picture standard, "
                           "text \"a\\x0ab\", paired with \"p\", player stopped");
}

} // namespace
