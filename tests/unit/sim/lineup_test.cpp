/* SPDX-License-Identifier: MIT */
#include "lineup.h"

#include "support/temporary_file.h"

using namespace sim;

namespace
{

std::string refused_lineup(const LineupFiles &files)
{
    try {
        load_lineup(files, 20000);
    } catch (const LineupError &error) {
        return error.what();
    }
    return "accepted";
}

const char *const one_channel = "#EXTM3U\n#EXTINF:-1 tvg-id=\"a.ex\",A\nhttp://a\n";
const char *const one_programme =
    "<tv><programme start=\"20260101100000\" stop=\"20260101110000\" channel=\"a.ex\">"
    "<title>T</title></programme></tv>";

TEST(Lineup, IsTheSampleFromTodayOn)
{
    const Lineup lineup = load_lineup({}, 20000);
    ASSERT_EQ(lineup.channels.size(), 8u);
    const char *const names[] = {"News",   "Sport", "Films",  "Music",
                                 "Nature", "Kids",  "Travel", "Cooking"};
    for (size_t i = 0; i < 8; i++) {
        EXPECT_EQ(lineup.channels[i].number, i + 1);
        EXPECT_EQ(lineup.channels[i].name, names[i]);
    }
    EXPECT_EQ(count_programmes(lineup.guide), 190u);
    EXPECT_TRUE(lineup.remarks.empty());
}

/* Every channel shows something at every moment of the two days. */
TEST(Lineup, LeavesNoGapInTheSample)
{
    const Lineup lineup = load_lineup({}, 20000);
    for (const Channel &channel : lineup.channels) {
        uint64_t at = uint64_t{20000} * seconds_a_day;
        for (const Programme &programme : schedule_of(lineup.guide, channel)) {
            EXPECT_EQ(programme.start, at) << channel.name << " " << programme.title;
            at = end_of(programme);
        }
        EXPECT_EQ(at, uint64_t{20002} * seconds_a_day) << channel.name;
    }
}

TEST(Lineup, TakesFilesOfOnesOwn)
{
    const TemporaryFile channels(one_channel);
    const TemporaryFile guide(one_programme);
    Lineup lineup = load_lineup({channels.path, guide.path, false}, 20000);
    EXPECT_EQ(lineup.channels.size(), 1u);
    ASSERT_EQ(schedule_of(lineup.guide, lineup.channels[0]).size(), 1u);
    EXPECT_EQ(schedule_of(lineup.guide, lineup.channels[0])[0].start, 1767261600u);
    lineup = load_lineup({channels.path, guide.path, true}, 20000);
    EXPECT_EQ(schedule_of(lineup.guide, lineup.channels[0])[0].start, 20000u * 86400 + 36000);
}

TEST(Lineup, HasNoGuideForChannelsThatComeAlone)
{
    const TemporaryFile channels(one_channel);
    EXPECT_EQ(count_programmes(load_lineup({channels.path, "", false}, 20000).guide), 0u);
}

TEST(Lineup, SaysWhatOfTheGuideIsNotUsed)
{
    const TemporaryFile guide(one_programme);
    const Lineup lineup = load_lineup({"", guide.path, false}, 20000);
    EXPECT_EQ(lineup.channels.size(), 8u);
    EXPECT_EQ(lineup.remarks,
              std::vector<std::string>{"programmes of channels that are not in the list: 1"});
}

TEST(Lineup, IsRefusedWithFileLineAndReason)
{
    const TemporaryFile channels(one_channel);
    const TemporaryFile bad_channels("#EXTM3U\n\nhttp://a\n");
    const TemporaryFile bad_guide("<tv>\n<programme/>\n</tv>");
    EXPECT_EQ(refused_lineup({bad_channels.path, "", false, true}),
              bad_channels.path + ":3: an address without #EXTINF before it");
    EXPECT_EQ(refused_lineup({channels.path, bad_guide.path, false, true}),
              bad_guide.path + ":2: a programme without a channel");
    EXPECT_EQ(refused_lineup({"/nowhere/a.m3u", "", false}),
              "/nowhere/a.m3u: No such file or directory");
    EXPECT_EQ(refused_lineup({"", "/nowhere/a.xml", false}),
              "/nowhere/a.xml: No such file or directory");
    EXPECT_EQ(refused_lineup({"/", "", false}), "/: Is a directory");
}

TEST(Lineup, SkipsBadEntriesAndSaysSo)
{
    const TemporaryFile channels(std::string(one_channel) + "http://b\n");
    const TemporaryFile guide("<tv>\n<programme/>\n</tv>");
    const Lineup lineup = load_lineup({channels.path, guide.path, false}, 20000);
    EXPECT_EQ(lineup.channels.size(), 2u);
    EXPECT_EQ(lineup.remarks,
              (std::vector<std::string>{
                  "1 channel named after its address, at line 4: no #EXTINF before it",
                  "1 programme skipped, at line 2: without a channel"}));
}

TEST(Lineup, TakesTheChannelsOfAGuideThatComesAlone)
{
    const TemporaryFile guide(
        "<tv><channel id=\"x.ex\"><display-name lang=\"fr\">Le X</display-name>"
        "<display-name lang=\"en\">The X</display-name></channel>"
        "<channel id=\"y.ex\"/>"
        "<programme start=\"20260101100000\" channel=\"y.ex\">"
        "<title>T</title></programme></tv>");
    const Lineup lineup = load_lineup({"", guide.path, false, false, "en"}, 20000);
    ASSERT_EQ(lineup.channels.size(), 2u);
    EXPECT_EQ(lineup.channels[0].number, 1);
    EXPECT_EQ(lineup.channels[0].name, "The X");
    EXPECT_EQ(lineup.channels[0].guide_id, "x.ex");
    EXPECT_EQ(lineup.channels[1].number, 2);
    EXPECT_EQ(lineup.channels[1].name, "y.ex");
    EXPECT_EQ(schedule_of(lineup.guide, lineup.channels[1]).size(), 1u);
    EXPECT_TRUE(lineup.remarks.empty());
}

TEST(Lineup, SaysWhatIsTooLongForAList)
{
    const std::string fits(63, 'n');
    const TemporaryFile channels("#EXTM3U\n#EXTINF:-1 tvg-id=\"a.ex\"," + fits + "\nhttp://" +
                                 std::string(200, 'a') + "\n#EXTINF:-1," + fits + "n\nhttp://b\n");
    const TemporaryFile guide("<tv><programme start=\"20260101100000\" channel=\"a.ex\"><title>" +
                              std::string(256, 't') + "</title><category>" + std::string(255, 'c') +
                              "</category><desc>" + std::string(1001, 'd') +
                              "</desc></programme></tv>");
    const Lineup lineup = load_lineup({channels.path, guide.path, false}, 20000);
    EXPECT_EQ(lineup.remarks, std::vector<std::string>{
                                  "texts too long for a list, and cut there: names 1, addresses "
                                  "1, titles 1, descriptions 1"});
}

TEST(Lineup, RefusesFilesWithoutAnEnd)
{
    EXPECT_EQ(refused_lineup({"/dev/zero", "", false}), "/dev/zero: longer than 67108864 bytes");
}

} // namespace
