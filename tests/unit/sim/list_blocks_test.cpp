/* SPDX-License-Identifier: MIT */
#include "list_blocks.h"

#include <gtest/gtest.h>

#include <numeric>

#include "bytes.h"
#include "unit/sim/list_fields.h"

using namespace sim;

namespace
{

std::vector<Channel> channels()
{
    return {{3, "Films", "Entertainment", "films.ex", "http://films"},
            {258, "News", "Information", "news.ex", "http://news"},
            {4, "Filmmusic", "Music", "none.ex", ""}};
}

/* The day begins at 1,795,219,200 seconds. */
constexpr uint32_t midnight = 1795219200;
constexpr uint32_t evening = 1795292100; /* 20:15 */

Guide guide()
{
    Guide result;
    result.schedules["films.ex"] = {{midnight, 600, "Old", "Film", "d"},
                                    {evening, 6300, "Caf\xC3\xA9", "Film", "Two cups."},
                                    {evening + 6300, 60, "Late", "Talk", "x"}};
    result.schedules["news.ex"] = {{evening - 60, 120, "Journal", "Film", ""}};
    result.schedules["unused"] = {{evening, 1, "Unused", "", ""}};
    return result;
}

/* Number and title of each entry, found by going from size to size. */
std::vector<std::string> entries(const ListBlock &block)
{
    const auto byte = [&](size_t at) { return static_cast<uint8_t>(block.bytes.at(at)); };
    const auto word = [&](size_t at) { return static_cast<size_t>(byte(at) | byte(at + 1) << 8); };
    std::vector<std::string> result;
    for (size_t at = 0; at < block.bytes.size(); at += word(at)) {
        result.push_back(std::to_string(word(at + 2)) + " " +
                         block.bytes.substr(at + 14, word(at + 12)));
    }
    EXPECT_EQ(result.size(), block.entries);
    return result;
}

using Titles = std::vector<std::string>;

TEST(ListBlocks, WriteAChannelAsACellOf256Bytes)
{
    const ListBlock block = channel_cells({channels()[1]}, "");
    EXPECT_EQ(hexed(block),
              hex(joined({bytes("02 01 00 00"), field("News", 64), field("Information", 32),
                          field("news.ex", 32), field("http://news", 124)})));
    EXPECT_EQ(block.bytes.size(), 256u);
    EXPECT_EQ(block.entries, 1u);
}

TEST(ListBlocks, CutTheTextsOfACellAndKeepAZeroBehindThem)
{
    const std::string wide(63, 'n');
    const Channel channel = {1, wide + "\xC3\xA9", std::string(31, 'g') + "h",
                             std::string(30, 'i') + "\xC3\xA9", std::string(200, 'a')};
    EXPECT_EQ(hexed(channel_cells({channel}, "")),
              hex(joined({bytes("01 00 00 00"), field(wide, 64), field(std::string(31, 'g'), 32),
                          field(std::string(30, 'i'), 32), field(std::string(123, 'a'), 124)})));
}

TEST(ListBlocks, SelectChannelsByNameAndGroup)
{
    const auto numbers = [](const ListBlock &block) {
        std::vector<int> result;
        for (size_t at = 0; at < block.bytes.size(); at += 256) {
            result.push_back(static_cast<uint8_t>(block.bytes[at]) |
                             static_cast<uint8_t>(block.bytes[at + 1]) << 8);
        }
        return result;
    };
    EXPECT_EQ(numbers(channel_cells(channels(), "")), (std::vector<int>{3, 258, 4}));
    EXPECT_EQ(numbers(channel_cells(channels(), "fILM")), (std::vector<int>{3, 4}));
    EXPECT_EQ(numbers(channel_cells(channels(), "information")), std::vector<int>{258});
    EXPECT_EQ(numbers(channel_cells(channels(), "films.ex")), std::vector<int>{});
    EXPECT_EQ(channel_cells(channels(), "fILM").entries, 2u);
}

TEST(ListBlocks, WriteShortChannels)
{
    const ListBlock block = short_channels(channels());
    EXPECT_EQ(hexed(block), hex(bytes("03 00 05 'Films' 02 01 04 'News' 04 00 09 'Filmmusic'")));
    EXPECT_EQ(block.entries, 3u);
    const ListBlock cut = short_channels({{1, std::string(254, 'n') + "\xC3\xA9", "", "", ""}});
    EXPECT_EQ(hexed(cut), hex(joined({bytes("01 00 FE"), field(std::string(254, 'n'), 254)})));
}

TEST(ListBlocks, WriteAProgrammeAsAnEntryWithItsSize)
{
    GuideQuery query;
    query.every_channel = false;
    query.number = 3;
    query.ends_after = midnight + 600;
    query.starts_until = evening + 1;
    const ListBlock block = guide_entries(channels(), guide(), query);
    EXPECT_EQ(hexed(block), hex(bytes("24 00 03 00 C4 FB 01 6B 9C 18 00 00"
                                      "05 00 'Caf' C3 A9 04 00 'Film' 09 00 'Two cups.'")));
    EXPECT_EQ(block.entries, 1u);
    EXPECT_EQ(block.channels, 1u);
}

TEST(ListBlocks, CutTheTextsOfAnEntry)
{
    Guide long_guide;
    long_guide.schedules["films.ex"] = {
        {1, 2, std::string(256, 't'), std::string(254, 'c') + "\xC3\xA9", std::string(1001, 'd')}};
    const ListBlock block = guide_entries(channels(), long_guide, {});
    EXPECT_EQ(hexed(block), hex(joined({bytes("F7 05 03 00 01 00 00 00 02 00 00 00 FF 00"),
                                        field(std::string(255, 't'), 255), bytes("FE 00"),
                                        field(std::string(254, 'c'), 254), bytes("E8 03"),
                                        field(std::string(1000, 'd'), 1000)})));
}

TEST(ListBlocks, GoThroughTheGuideByChannelAndStart)
{
    const ListBlock block = guide_entries(channels(), guide(), {});
    EXPECT_EQ(entries(block), (Titles{"3 Old", "3 Caf\xC3\xA9", "3 Late", "258 Journal"}));
    EXPECT_EQ(block.channels, 2u);
}

TEST(ListBlocks, TellOnlyProgrammesThatEndAfterATime)
{
    GuideQuery query;
    query.ends_after = evening + 60;
    EXPECT_EQ(entries(guide_entries(channels(), guide(), query)),
              (Titles{"3 Caf\xC3\xA9", "3 Late"}));
    query.ends_after = evening + 59;
    EXPECT_EQ(entries(guide_entries(channels(), guide(), query)),
              (Titles{"3 Caf\xC3\xA9", "3 Late", "258 Journal"}));
}

TEST(ListBlocks, AreEmptyForAChannelThatIsNotThere)
{
    GuideQuery query;
    query.every_channel = false;
    query.number = 65539; /* 3 and what does not fit a channel number */
    const ListBlock block = guide_entries(channels(), guide(), query);
    EXPECT_EQ(block.bytes, "");
    EXPECT_EQ(block.entries, 0u);
    EXPECT_EQ(block.channels, 0u);
}

TEST(ListBlocks, TellWhatIsOnAndWhatComesNextWithoutDescriptions)
{
    const ListBlock block = present_entries(channels(), guide(), evening);
    EXPECT_EQ(hexed(block), hex(bytes("1B 00 03 00 C4 FB 01 6B 9C 18 00 00"
                                      "05 00 'Caf' C3 A9 04 00 'Film' 00 00"
                                      "1A 00 03 00 60 14 02 6B 3C 00 00 00"
                                      "04 00 'Late' 04 00 'Talk' 00 00"
                                      "1D 00 02 01 88 FB 01 6B 78 00 00 00"
                                      "07 00 'Journal' 04 00 'Film' 00 00")));
    EXPECT_EQ(block.entries, 3u);
    EXPECT_EQ(block.channels, 2u);
}

TEST(ListBlocks, TellAWeekFromMidnightOn)
{
    Guide week;
    week.schedules["films.ex"] = {{midnight - 1, 99999, "Yesterday", "", ""},
                                  {midnight, 1, "First", "", ""},
                                  {midnight + 7 * 86400 - 1, 1, "Last", "", ""},
                                  {midnight + 7 * 86400, 1, "Beyond", "", ""}};
    week.schedules["news.ex"] = {{midnight, 1, "Other", "", ""}};
    EXPECT_EQ(entries(guide_entries(channels(), week, week_query(0, evening))),
              (Titles{"3 First", "3 Last", "258 Other"}));
    EXPECT_EQ(entries(guide_entries(channels(), week, week_query(258, midnight))),
              Titles{"258 Other"});
    EXPECT_EQ(entries(guide_entries(channels(), week, week_query(258, midnight - 1))),
              Titles{"258 Other"});
    EXPECT_EQ(entries(guide_entries(channels(), week, week_query(258, midnight + 86400))),
              Titles{});
}

TEST(ListBlocks, SearchTitlesAndCategoriesWithoutDescriptions)
{
    EXPECT_EQ(entries(matching_entries(channels(), guide(), "FILM")),
              (Titles{"3 Old", "3 Caf\xC3\xA9", "258 Journal"}));
    EXPECT_EQ(entries(matching_entries(channels(), guide(), "la")), Titles{"3 Late"});
    EXPECT_EQ(entries(matching_entries(channels(), guide(), "cups")), Titles{});
    EXPECT_EQ(hexed(matching_entries(channels(), guide(), "journal")),
              hex(bytes("1D 00 02 01 88 FB 01 6B 78 00 00 00 07 00 'Journal' 04 00 'Film' 00 00")));
}

/* 65,535 entries, or 16 MiB, whatever comes first. */
TEST(ListBlocks, LeaveOutWhatDoesNotFitAtTheEnd)
{
    Guide many;
    many.schedules["films.ex"] = Schedule(65534, Programme{1, 1, "", "", ""});
    many.schedules["news.ex"] = Schedule(2, Programme{1, 1, "", "", ""});
    const ListBlock counted = guide_entries(channels(), many, {});
    EXPECT_EQ(counted.entries, 65535u);
    EXPECT_EQ(counted.bytes.size(), 65535u * 18);
    EXPECT_EQ(counted.channels, 2u);
    many.schedules["films.ex"] = Schedule(20000, Programme{1, 1, "", "", std::string(1000, 'd')});
    const ListBlock weighed = guide_entries(channels(), many, {});
    EXPECT_EQ(weighed.entries, 16777216u / 1018);
    EXPECT_EQ(weighed.bytes.size(), 16777216u / 1018 * 1018);
}

} // namespace
