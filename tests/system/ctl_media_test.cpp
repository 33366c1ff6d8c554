/* SPDX-License-Identifier: MIT */
/* The player, the films, the guide and the settings: tvlink-ctl and a simulated television, which
 * know nothing of each other but the wire. */
#include "support/one_day.h"
#include "support/temporary_file.h"
#include "system/sim_and_ctl.h"

namespace
{

const char *const channel_list =
    "#EXTM3U\n"
    "#EXTINF:-1 tvg-id=\"news.example\" tvg-chno=\"4\" group-title=\"Information\",News\n"
    "http://streams.example/news\n"
    "#EXTINF:-1 tvg-id=\"kino.example\" tvg-chno=\"300\" group-title=\"Film\",Kino für Späte\n"
    "http://streams.example/kino\n";

const char *const guide =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<tv>\n"
    "<programme start=\"20261121201500 +0000\" stop=\"20261121220000 +0000\" "
    "channel=\"kino.example\"><title>Café</title><desc>Two cups.</desc><category>Film</category>"
    "</programme>\n"
    "<programme start=\"20261121200000 +0000\" stop=\"20261121201500 +0000\" "
    "channel=\"news.example\"><title>Bulletin</title><category>News</category></programme>\n"
    "<programme start=\"20261121201500 +0000\" stop=\"20261121203000 +0000\" "
    "channel=\"news.example\"><title>Weather</title></programme>\n"
    "</tv>\n";

/* A television with a guide that does not move. */
class CtlMedia : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC0", 1);
        sim = start_sim({"--channels", channels.path, "--guide", programmes.path});
        ASSERT_NE(sim, nullptr);
    }
    void TearDown() override
    {
        unsetenv("TZ");
    }

    const TemporaryFile channels{channel_list};
    const TemporaryFile programmes{guide};
    std::unique_ptr<Program> sim;
};

TEST_F(CtlMedia, ListsTheChannels)
{
    expect_output({"channels"},
                  " NO  NAME            GROUP        GUIDE ID      ADDRESS\n"
                  "  4  News            Information  news.example  http://streams.example/news\n"
                  "300  Kino für Späte  Film         kino.example  http://streams.example/kino\n");
    expect_output({"channels", "--short"}, " NO  NAME\n"
                                           "  4  News\n"
                                           "300  Kino für Späte\n");
    expect_output({"channels", "--filter", "INFO", "--json"},
                  "{\"count\":1,\"channels\":[{\"number\":4,\"name\":\"News\","
                  "\"group\":\"Information\",\"guide_id\":\"news.example\","
                  "\"address\":\"http://streams.example/news\"}]}\n");
    expect_output({"channels", "--filter", "nothing"}, "no channels\n");
}

TEST_F(CtlMedia, ShowsTheGuide)
{
    expect_output({"guide", "--all", "--descriptions"},
                  " NO  CHANNEL         BEGINS            ENDS   TITLE     CATEGORY\n"
                  "  4  News            2026-11-21 20:00  20:15  Bulletin  News\n"
                  "  4  News            2026-11-21 20:15  20:30  Weather\n"
                  "300  Kino für Späte  2026-11-21 20:15  22:00  Café      Film\n"
                  "    Two cups.\n");
    expect_output({"guide", "--from", "2026-11-21 20:15", "--channel", "4"},
                  "NO  CHANNEL  BEGINS            ENDS   TITLE    CATEGORY\n"
                  " 4  News     2026-11-21 20:15  20:30  Weather\n");
    expect_output({"guide", "--search", "CAF", "--json"},
                  "{\"count\":1,\"programmes\":[{\"channel\":300,\"channel_name\":"
                  "\"Kino für Späte\",\"start\":1795292100,\"duration\":6300,\"title\":\"Café\","
                  "\"category\":\"Film\",\"description\":\"\"}]}\n");
    expect_output({"guide", "--channel", "5"}, "no programmes\n");
}

TEST_F(CtlMedia, ShowsAWeekOfTheGuideThatMovesAlong)
{
    const auto seen = seen_on_one_day([&] {
        sim.reset();
        sim = start_sim(
            {"--channels", channels.path, "--guide", programmes.path, "--guide-starts-today"});
        return std::make_pair(local_ctl({"guide", "--week", "--json"}),
                              local_ctl({"guide", "--week", "--channel", "300"}));
    });
    const Finished &week = seen.first;
    const Finished &one = seen.second;
    EXPECT_EQ(week.status, 0) << week.err;
    EXPECT_EQ(week.out.find("{\"count\":3,\"programmes\":[{\"channel\":4,"), 0U) << week.out;
    EXPECT_NE(one.out.find("20:15  22:00  Café"), std::string::npos) << one.out;
    EXPECT_EQ(one.out.find("Weather"), std::string::npos) << one.out;
    EXPECT_EQ(local_ctl({"guide"}).status, 0);
}

TEST_F(CtlMedia, DrivesThePlayer)
{
    expect_output({"play", "http://streams.example/x"}, "result: 0\n");
    expect_output({"play", "pause"}, "result: 0\n");
    expect_output({"play", "seek", "1:00"}, "result: 0\n");
    expect_output({"play", "volume", "200"}, "result: 0\n");
    expect_output({"play", "operation", "3", "-7"}, "result: 0\n");
    expect_output({"play", "status"}, "player: paused\nposition: 0:01:00\nduration: 1:30:00\n");
    expect_failure(local_ctl({"play", "seek", "5:00:00"}), 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: play seek 5:00:00");
    expect_output({"play", "start"}, "result: 0\n");
    expect_output({"play", "stop"}, "result: 0\n");
    expect_output({"vod", "player"}, "player: stopped\n");
}

TEST_F(CtlMedia, StartsFilms)
{
    expect_output({"vod", "list"}, "NO  TITLE                   LENGTH\n"
                                   " 1  The Lighthouse Keeper  1:30:00\n"
                                   " 2  Harbour Lights         1:42:00\n"
                                   " 3  A Day in March         1:23:00\n");
    expect_output({"vod", "list", "--of", "light", "--json"},
                  "{\"count\":2,\"films\":["
                  "{\"number\":1,\"title\":\"The Lighthouse Keeper\",\"length\":5400},"
                  "{\"number\":2,\"title\":\"Harbour Lights\",\"length\":6120}]}\n");
    expect_output({"vod", "title", "3"}, "title: A Day in March\n");
    expect_output({"vod", "title", "1", "--of", "harbour"}, "title: Harbour Lights\n");
    expect_failure(local_ctl({"vod", "title", "4"}), 7, "",
                   "tvlink-ctl: the television answered that it failed: film 4");
    expect_output({"vod", "start", "A Day in March", "--at", "1:00:00"}, "result: 0\n");
    expect_output({"play", "pause"}, "result: 0\n");
    const Finished status = local_ctl({"vod", "status", "--of", "me"});
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_NE(status.out.find("film: 3\ntitle: A Day in March\naddress: "), std::string::npos)
        << status.out;
    expect_failure(local_ctl({"vod", "start", "Harbour Lights", "--at", "9:00:00"}), 7, "",
                   "tvlink-ctl: the television answered that it failed: the film "
                   "\"Harbour Lights\"");
}

TEST_F(CtlMedia, KeepsSettings)
{
    expect_output({"settings", "colour", "grün"}, "name: colour\nvalue: grün\n");
    expect_output({"settings", "colour"}, "colour: grün\n");
    expect_output({"settings", "colour", "--count"}, "count: 1\n");
    const Finished all = local_ctl({"settings", "--json"});
    EXPECT_NE(all.out.find("\"colour\":\"grün\""), std::string::npos) << all.out;
}

TEST_F(CtlMedia, TellsItsState)
{
    expect_output({"volume", "+5"}, "result: 0\n");
    expect_output({"state"}, "on: yes\nmuted: no\nvolume: 25\npicture mode: 0\nchannel: 4\n");
    const Finished all = local_ctl({"state", "--all"});
    EXPECT_NE(all.out.find("channel name: News\n"), std::string::npos) << all.out;
    expect_output({"place"}, "place: \n");
    EXPECT_EQ(local_ctl({"version"}).out.find("version: "), 0U);
    EXPECT_EQ(local_ctl({"version", "--all"}).out.find("name: tvlink-sim\nversion: "), 0U);
    EXPECT_EQ(local_ctl({"apps"}).out.find("NAME     PACKAGE      VERSION\n"), 0U);
    const Finished film = local_ctl({"metadata", "Harbour Lights", "--film"});
    EXPECT_NE(film.out.find("title: Harbour Lights\n"), std::string::npos) << film.out;
}

TEST_F(CtlMedia, ObeysAVoice)
{
    expect_output({"voice", "channel 300"}, "voice: understood\n");
    const Finished state = local_ctl({"state"});
    EXPECT_NE(state.out.find("channel: 300\n"), std::string::npos) << state.out;
    expect_failure(local_ctl({"voice", "sing"}), 7, "",
                   "tvlink-ctl: the television answered that it failed: \"sing\"");
}

TEST_F(CtlMedia, TellsWatchersOfAPushedGuide)
{
    Program watch(TVLINK_CTL_PATH, {"watch", "--host", "127.0.0.1"});
    ASSERT_TRUE(watch.wait_for("heartbeat")) << watch.err();
    const Finished pushed = local_ctl({"rpc", "push guide"});
    EXPECT_NE(pushed.out.find("\"pushed\":2"), std::string::npos) << pushed.out << pushed.err;
    EXPECT_TRUE(watch.wait_for("guide pushed: ")) << watch.out() << watch.err();
}

} // namespace
