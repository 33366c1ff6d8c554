/* SPDX-License-Identifier: MIT */
#include "player.h"

#include <gtest/gtest.h>

#include "films.h"
#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

TEST(Player, PlaysAStreamAgainstTheClock)
{
    Television tv = sample_television();
    EXPECT_EQ(play(tv, 0).words, "play refused: no stream");
    EXPECT_EQ(codes(open_stream(tv, "http://films/1")), Codes{IPP_EVENT_PLAYER});
    EXPECT_EQ(tv.player.duration, 5400u);
    const Outcome started = play(tv, 100);
    ASSERT_EQ(codes(started), Codes{IPP_EVENT_PLAYER});
    EXPECT_EQ(started.events[0].value, 1u);
    EXPECT_EQ(started.events[0].text, "http://films/1");
    EXPECT_EQ(player_position(tv.player, 130), 30u);
    const Outcome paused = pause_player(tv, 140);
    EXPECT_EQ(paused.words, "pause -> paused at 40 s");
    EXPECT_EQ(paused.events.at(0).value, 2u);
    EXPECT_EQ(player_position(tv.player, 1000), 40u);
    EXPECT_EQ(play(tv, 1000).words, "play -> playing at 40 s");
    EXPECT_EQ(stop_player(tv, 1010).words, "stop -> stopped at 0 s");
    EXPECT_TRUE(stop_player(tv, 1010).events.empty());
    EXPECT_EQ(player_position(tv.player, 2000), 0u);
}

TEST(Player, GoesOnFromWhereItWasSoughtTo)
{
    Television tv = sample_television();
    open_stream(tv, "http://films/1");
    play(tv, 100);
    const Outcome sought = seek_player(tv, 1000, 110);
    EXPECT_EQ(sought.words, "seek 1000 s");
    ASSERT_EQ(codes(sought), Codes{IPP_EVENT_POSITION});
    EXPECT_EQ(sought.events[0].value, 1000u);
    EXPECT_EQ(player_position(tv.player, 115), 1005u);
    EXPECT_TRUE(seek_player(tv, 1005, 115).events.empty());
    EXPECT_EQ(codes(seek_player(tv, 0, 115)), Codes{IPP_EVENT_POSITION});
}

TEST(Player, RefusesToSeekOutsideTheStream)
{
    Television tv = sample_television();
    open_stream(tv, "http://films/1");
    EXPECT_EQ(seek_player(tv, -1, 0).status, -1);
    EXPECT_EQ(seek_player(tv, 5401, 0).status, -1);
    EXPECT_EQ(seek_player(tv, 5400, 0).status, 0);
    EXPECT_EQ(seek_player(tv, INT32_MIN, 0).words,
              "seek -2147483648 s refused: outside the stream");
    EXPECT_EQ(tv.player.position, 5400u);
}

TEST(Player, StopsAStreamThatHasComeToItsEnd)
{
    Television tv = sample_television();
    open_stream(tv, "http://films/1");
    EXPECT_TRUE(end_stream(tv, 99999).empty());
    play(tv, 100);
    EXPECT_TRUE(end_stream(tv, 5499).empty());
    EXPECT_EQ(player_position(tv.player, 99999), 5400u);
    const std::vector<Event> events = end_stream(tv, 5500);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].code, IPP_EVENT_PLAYER);
    EXPECT_EQ(events[0].value, 0u);
    EXPECT_EQ(events[0].text, "http://films/1");
    EXPECT_EQ(tv.player.state, PlayState::STOPPED);
    EXPECT_EQ(player_position(tv.player, 99999), 0u);
    EXPECT_TRUE(end_stream(tv, 99999).empty());
}

TEST(Player, DoesNotEndWhileItIsPaused)
{
    Television tv = sample_television();
    open_stream(tv, "http://films/1");
    play(tv, 0);
    seek_player(tv, 5400, 0);
    pause_player(tv, 0);
    EXPECT_TRUE(end_stream(tv, 99999).empty());
}

TEST(Player, KnowsItsFilmsByTheirAddress)
{
    Television tv = sample_television();
    open_stream(tv, films()[1].address);
    EXPECT_EQ(tv.player.film, 2u);
    EXPECT_EQ(tv.player.title, "Harbour Lights");
    EXPECT_EQ(tv.player.duration, 6120u);
    open_stream(tv, films()[1].address, "Mine");
    EXPECT_EQ(tv.player.title, "Mine");
    open_stream(tv, "http://other");
    EXPECT_EQ(tv.player.film, 0u);
    EXPECT_EQ(tv.player.title, "");
}

TEST(Player, KeepsItsVolumeWhenTheStreamChanges)
{
    Television tv = sample_television();
    const Outcome quiet = set_player_volume(tv, 7);
    ASSERT_EQ(codes(quiet), Codes{IPP_EVENT_PLAYER_VOLUME});
    EXPECT_EQ(quiet.events[0].value, 7u);
    EXPECT_TRUE(set_player_volume(tv, 7).events.empty());
    open_stream(tv, "http://other");
    EXPECT_EQ(tv.player.volume, 7);
}

TEST(Player, StartsAFilmByItsTitle)
{
    Television tv = sample_television();
    const Outcome outcome = start_player(tv, "harbour lights", "", "60", 100);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.words,
              "stream \"http://films.example/harbour-lights\": play -> playing at 60 s");
    ASSERT_EQ(codes(outcome), (Codes{IPP_EVENT_PLAYER, IPP_EVENT_PLAYER}));
    EXPECT_EQ(outcome.events[1].value, 1u);
    EXPECT_EQ(player_position(tv.player, 110), 70u);
    EXPECT_EQ(tv.player.film, 2u);
}

TEST(Player, StartsAnAddressUnderATitle)
{
    Television tv = sample_television();
    EXPECT_EQ(start_player(tv, "http://other", "Title", "", 100).status, 0);
    EXPECT_EQ(tv.player.address, "http://other");
    EXPECT_EQ(tv.player.title, "Title");
    EXPECT_EQ(player_position(tv.player, 100), 0u);
}

TEST(Player, StartsAtTheVeryEnd)
{
    Television tv = sample_television();
    EXPECT_EQ(start_player(tv, "http://other", "", "5400", 100).status, 0);
    EXPECT_EQ(end_stream(tv, 100).size(), 1u);
}

TEST(Player, RefusesToStartAndGoesOnWithWhatItPlays)
{
    Television tv = sample_television();
    start_player(tv, "http://first", "", "", 0);
    EXPECT_EQ(start_player(tv, "", "", "", 0).words, "start \"\" refused: no stream");
    EXPECT_EQ(start_player(tv, "http://b", "", "5401", 0).words,
              "start \"http://b\" refused: position 5401 s is outside the stream");
    for (const char *position : {"-1", "1.5", " 1", "1s", "4294967296", "x"}) {
        EXPECT_EQ(start_player(tv, "http://b", "", position, 0).words,
                  std::string("start \"http://b\" refused: no position: \"") + position + "\"");
    }
    set_power(tv, false);
    EXPECT_EQ(start_player(tv, "http://b", "", "", 0).words,
              "stream \"http://b\" refused: in standby");
    EXPECT_EQ(tv.player.address, "http://first");
    EXPECT_EQ(tv.player.state, PlayState::PLAYING);
}

} // namespace
