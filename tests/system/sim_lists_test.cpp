/* SPDX-License-Identifier: MIT */
/* The lists of tvlink-sim, as they come over the wire. */
#include "support/one_day.h"
#include "system/sim_phone.h"

namespace
{

const char *const CHANNEL_FILE =
    "#EXTM3U\n"
    "#EXTINF:-1 tvg-id=\"f.ex\" tvg-chno=\"3\" group-title=\"Fun\",Films\n"
    "http://f\n"
    "#EXTINF:-1 tvg-id=\"n.ex\" tvg-chno=\"258\" group-title=\"Facts\",News\n"
    "http://n\n";

/* The first programme has been on since 1970, and will be for long; the second comes then. */
const char *const GUIDE =
    "<tv>\n"
    "<programme start=\"19700102000000\" stop=\"21000101000000\" channel=\"f.ex\">"
    "<title>Endless</title><desc>It goes on.</desc><category>Film</category></programme>\n"
    "<programme start=\"21000101000000\" stop=\"21000101001000\" channel=\"f.ex\">"
    "<title>End</title></programme>\n"
    "<programme start=\"20000101000000\" stop=\"20000101000100\" channel=\"n.ex\">"
    "<title>Old News</title><category>News</category></programme>\n"
    "</tv>\n";

class SimLists : public testing::Test
{
protected:
    SimLists()
        : channels(CHANNEL_FILE), guide(GUIDE),
          sim(start_sim({"--channels", channels.path, "--guide", guide.path}))
    {
    }

    TemporaryFile channels;
    TemporaryFile guide;
    std::unique_ptr<Program> sim;
    Phone phone;
};

const std::string FILMS =
    hex(joined({bytes("03 00 00 00 'Films'"), Bytes(59), bytes("'Fun'"), Bytes(29), bytes("'f.ex'"),
                Bytes(28), bytes("'http://f'"), Bytes(116)}));
const std::string NEWS =
    hex(joined({bytes("02 01 00 00 'News'"), Bytes(60), bytes("'Facts'"), Bytes(27),
                bytes("'n.ex'"), Bytes(28), bytes("'http://n'"), Bytes(116)}));

const std::string ENDLESS = hex(
    bytes("28 00 03 00 80 51 01 00 80 05 85 F4 07 00 'Endless' 04 00 'Film' 0B 00 'It goes on.'"));
const std::string SHORT_ENDLESS =
    hex(bytes("1D 00 03 00 80 51 01 00 80 05 85 F4 07 00 'Endless' 04 00 'Film' 00 00"));
const std::string END = hex(bytes("15 00 03 00 00 57 86 F4 58 02 00 00 03 00 'End' 00 00 00 00"));
const std::string OLD_NEWS =
    hex(bytes("1E 00 02 01 80 43 6D 38 3C 00 00 00 08 00 'Old News' 04 00 'News' 00 00"));

TEST_F(SimLists, TellEveryChannelInACell)
{
    const List list = get_list(phone, "01 00 30 00");
    EXPECT_EQ(list.head, "01 00 30 A5 02 00");
    EXPECT_EQ(list.content, FILMS + " " + NEWS);
}

TEST_F(SimLists, TellTheChannelsThatATextSelects)
{
    const List list = get_list(phone, "01 16 40 01 04 00 'FACT'");
    EXPECT_EQ(list.head, "01 16 40 A5 01 00");
    EXPECT_EQ(list.content, NEWS);
    EXPECT_EQ(get(phone, "01 16 40 01 01 00 'x'"), "01 16 40 A3 00 00 00 00");
    EXPECT_EQ(get_list(phone, "01 16 40 01 00 00").content, FILMS + " " + NEWS);
}

TEST_F(SimLists, TellTheChannelsInShort)
{
    const List list = get_list(phone, "01 02 30 00");
    EXPECT_EQ(list.head, "01 02 30 A5 02 00");
    EXPECT_EQ(list.content, hex(bytes("03 00 05 'Films' 02 01 04 'News'")));
}

TEST_F(SimLists, TellTheOrderOfTheChannels)
{
    EXPECT_EQ(get(phone, "01 07 20 00"), "01 07 20 A2 06 00 00 00 02 00 03 00 02 01");
}

TEST_F(SimLists, TellTheWholeGuideOrThatOfAChannel)
{
    List list = get_list(phone, "01 00 20 03 02 00 06 00 00 00 00 06 00 00 00 00", 4);
    EXPECT_EQ(list.head, "01 00 20 A1 03 00 02 00");
    EXPECT_EQ(list.content, ENDLESS + " " + END + " " + OLD_NEWS);
    list = get_list(phone, "01 00 20 03 02 01 06 02 01 00 00 06 00 00 00 00", 4);
    EXPECT_EQ(list.head, "01 00 20 A1 01 00 01 00");
    EXPECT_EQ(list.content, OLD_NEWS);
}

TEST_F(SimLists, TellTheGuideFromATimeOn)
{
    /* The second before the old news end, and their end. */
    EXPECT_EQ(get_list(phone, "01 00 20 03 02 00 06 00 00 00 00 06 BB 43 6D 38", 4).head,
              "01 00 20 A1 03 00 02 00");
    const List list = get_list(phone, "01 00 20 03 02 00 06 00 00 00 00 06 BC 43 6D 38", 4);
    EXPECT_EQ(list.head, "01 00 20 A1 02 00 01 00");
    EXPECT_EQ(list.content, ENDLESS + " " + END);
}

TEST_F(SimLists, HaveNothingForSelectorsThatMeanNothing)
{
    EXPECT_EQ(get(phone, "01 00 20 03 02 02 06 00 00 00 00 06 00 00 00 00"),
              "01 00 20 A1 00 00 00 00");
    EXPECT_EQ(get(phone, "01 00 20 03 02 01 06 04 00 00 00 06 00 00 00 00"),
              "01 00 20 A1 00 00 00 00");
    EXPECT_EQ(get(phone, "01 02 20 01 06 04 00 00 00"), "01 02 20 A1 00 00 00 00");
    EXPECT_EQ(get(phone, "01 03 20 01 08 01 00 'x'"), "01 03 20 A3 00 00 00 00");
}

TEST_F(SimLists, TellWhatIsOnAndWhatComesNext)
{
    const List list = get_list(phone, "01 01 20 00");
    EXPECT_EQ(list.head, "01 01 20 A3 02 00");
    EXPECT_EQ(list.content, SHORT_ENDLESS + " " + END);
}

TEST_F(SimLists, TellTheProgrammesThatATextFinds)
{
    const List list = get_list(phone, "01 03 20 01 08 04 00 'FILM'");
    EXPECT_EQ(list.head, "01 03 20 A3 01 00");
    EXPECT_EQ(list.content, SHORT_ENDLESS);
    EXPECT_EQ(get_list(phone, "01 03 20 01 08 03 00 'end'").content, SHORT_ENDLESS + " " + END);
}

TEST_F(SimLists, SayWhatWasAsked)
{
    get(phone, "01 00 30 00");
    get(phone, "01 01 20 00");
    get(phone, "01 03 20 01 08 04 00 'FILM'");
    get(phone, "01 00 20 03 02 01 06 03 00 00 00 06 00 00 00 00");
    EXPECT_TRUE(wait_for_calls(*sim, "channels? 2 entries\n"
                                     "simple guide? 2 entries\n"
                                     "guide with \"FILM\"? 1 entries\n"
                                     "guide of channel 3? 2 entries\n"))
        << sim->out();
}

TEST(SimGuide, HasAWeekThatBeginsToday)
{
    const TemporaryFile channels(CHANNEL_FILE);
    const TemporaryFile guide(
        "<tv><programme start=\"20000101000000\" stop=\"20000101000100\" channel=\"n.ex\">"
        "<title>First</title></programme>"
        "<programme start=\"20000107235900\" stop=\"20000108000000\" channel=\"n.ex\">"
        "<title>Last</title></programme>"
        "<programme start=\"20000109000000\" stop=\"20000109000100\" channel=\"n.ex\">"
        "<title>Beyond</title></programme></tv>");
    const auto week = seen_on_one_day([&] {
        const auto sim =
            start_sim({"--channels", channels.path, "--guide", guide.path, "--guide-starts-today"});
        const Phone phone;
        return std::make_pair(get_list(phone, "01 02 20 01 06 02 01 00 00", 4),
                              get_list(phone, "01 02 20 01 06 00 00 00 00", 4));
    });
    const List &list = week.first;
    EXPECT_EQ(list.head, "01 02 20 A1 02 00 00 00");
    EXPECT_NE(list.content.find(hex(bytes("'First'"))), std::string::npos);
    EXPECT_NE(list.content.find(hex(bytes("'Last'"))), std::string::npos);
    EXPECT_EQ(week.second.content, list.content);
}

TEST(SimGuide, IsTheSampleWithoutOptions)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(get_list(phone, "01 01 20 00").head, "01 01 20 A3 10 00"); /* two for each of eight */
    EXPECT_EQ(get_list(phone, "01 00 20 03 02 00 06 00 00 00 00 06 00 00 00 00", 4).head,
              "01 00 20 A1 BE 00 08 00");
}

TEST(SimGuide, IsPushedToEveryPhoneAsTheAnswerThatNobodyAskedFor)
{
    const TemporaryFile channels(CHANNEL_FILE);
    const TemporaryFile guide(GUIDE);
    const auto sim = start_sim({"--channels", channels.path, "--guide", guide.path});
    ASSERT_NE(sim, nullptr);
    const Phone first;
    const Phone second;
    const Phone third;
    const std::string reply = get(first, "01 01 20 00");
    EXPECT_EQ(hex(second.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(call(third, "push"), "{\"error\":\"push guide\"}");
    first.send(wire_frame(CALL, bytes("04 50 08 0A 00 'push guide'")));
    /* The push and the answer to the call may come in either order. */
    std::vector<std::string> frames = {hex(payload_of(first.read_frame())),
                                       hex(payload_of(first.read_frame()))};
    std::sort(frames.begin(), frames.end());
    EXPECT_EQ(frames[0], reply);
    EXPECT_EQ(frames[1], hex(bytes("04 50 01 18 00 '{\"entries\":2,\"pushed\":3}' 00")));
    for (const Phone *phone : {&second, &third}) {
        const Bytes frame = phone->read_frame();
        EXPECT_EQ(type_of(frame), GET_REPLY);
        EXPECT_EQ(hex(payload_of(frame)), reply);
    }
}

TEST(SimGuide, IsPushedAsNothingWhenThereIsNone)
{
    const TemporaryFile channels(CHANNEL_FILE);
    const auto sim = start_sim({"--channels", channels.path});
    ASSERT_NE(sim, nullptr);
    const Phone first;
    const Phone second;
    EXPECT_EQ(hex(second.exchange_heartbeat()), hex(answer_heartbeat()));
    first.send(wire_frame(CALL, bytes("04 50 08 0A 00 'push guide'")));
    EXPECT_EQ(hex(payload_of(second.read_frame())), "01 01 20 A3 00 00 00 00");
}

} // namespace
