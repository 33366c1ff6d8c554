/* SPDX-License-Identifier: MIT */
/* Lists that hosts build, byte by byte. */
#include "tvlink/host/lists.h"

#include "support/system_calls.h"
#include "support/wire.h"
#include "tvlink/host/sized_block.h"

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

namespace
{

/* Of the block that the list ends as, which is freed: element size, and bytes as hex text. */
std::string finished(IppList &list)
{
    void *block = ipp_list_finish(&list);
    if (block == nullptr) {
        return "null";
    }
    const uint32_t *header = static_cast<const uint32_t *>(block) - 2;
    const std::string text = std::to_string(header[0]) + ": " + hex(block, header[1]);
    std::free(const_cast<uint32_t *>(header));
    return text;
}

std::string field(const std::string &text, size_t size)
{
    Bytes bytes(text.begin(), text.end());
    bytes.resize(size);
    return hex(bytes);
}

TEST(ListBuilder, WritesAChannelAsACellOf256Bytes)
{
    IppList list = IPP_LIST_EMPTY;
    const IppChannel channel = {258, "News", "Information", "news.ex", "http://news"};
    EXPECT_EQ(ipp_list_add_channel(&list, &channel), 1);
    EXPECT_EQ(list.size, 256u);
    EXPECT_EQ(finished(list), "1: 02 01 00 00 " + field("News", 64) + " " +
                                  field("Information", 32) + " " + field("news.ex", 32) + " " +
                                  field("http://news", 124));
}

TEST(ListBuilder, LeavesAZeroInEachField)
{
    IppList list = IPP_LIST_EMPTY;
    const std::string text(300, 'x');
    const IppChannel channel = {1, text.c_str(), text.c_str(), text.c_str(), text.c_str()};
    EXPECT_EQ(ipp_list_add_channel(&list, &channel), 1);
    EXPECT_EQ(finished(list), "1: 01 00 00 00 " + field(std::string(63, 'x'), 64) + " " +
                                  field(std::string(31, 'x'), 32) + " " +
                                  field(std::string(31, 'x'), 32) + " " +
                                  field(std::string(123, 'x'), 124));
}

TEST(ListBuilder, WritesNumberAndName)
{
    IppList list = IPP_LIST_EMPTY;
    EXPECT_EQ(ipp_list_add_short_channel(&list, 3, "Films"), 1);
    EXPECT_EQ(ipp_list_add_short_channel(&list, 4, nullptr), 1);
    EXPECT_EQ(list.entries, 2u);
    EXPECT_EQ(finished(list), "1: 03 00 05 46 69 6C 6D 73 04 00 00");
    const std::string text(300, 'x');
    EXPECT_EQ(ipp_list_add_short_channel(&list, 1, text.c_str()), 1);
    EXPECT_EQ(finished(list), "1: 01 00 FF " + field(std::string(255, 'x'), 255));
}

TEST(ListBuilder, WritesAProgramme)
{
    IppList list = IPP_LIST_EMPTY;
    const IppProgramme programme = {3, 1795292100, 6300, "Caf\xC3\xA9", "Film", "Two cups."};
    EXPECT_EQ(ipp_list_add_programme(&list, &programme), 1);
    EXPECT_EQ(finished(list), "1: " + hex(bytes("24 00  03 00  C4 FB 01 6B  9C 18 00 00"
                                                "05 00  43 61 66 C3 A9  04 00 'Film'"
                                                "09 00 'Two cups.'")));
    const IppProgramme empty = {};
    EXPECT_EQ(ipp_list_add_programme(&list, &empty), 1);
    EXPECT_EQ(finished(list), "1: 12 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

/* "a" and then characters of two bytes: the limits are odd and even. */
TEST(ListBuilder, CutsTextsWhereACharacterEnds)
{
    std::string text = "a";
    for (int i = 0; i < 600; i++) {
        text += "\xC3\xA9";
    }
    IppList list = IPP_LIST_EMPTY;
    const IppProgramme programme = {1, 0, 0, text.c_str(), text.c_str() + 1, text.c_str()};
    EXPECT_EQ(ipp_list_add_programme(&list, &programme), 1);
    EXPECT_EQ(list.size, 18u + 255 + 254 + 999);
    ipp_list_clear(&list);
}

TEST(ListBuilder, CountsEntriesAndChannels)
{
    IppList list = IPP_LIST_EMPTY;
    for (const uint16_t channel : std::initializer_list<uint16_t>{1, 1, 2, 1, 1}) {
        const IppProgramme programme = {channel, 0, 0, "", "", ""};
        EXPECT_EQ(ipp_list_add_programme(&list, &programme), 1);
    }
    EXPECT_EQ(list.entries, 5u);
    EXPECT_EQ(list.channels, 3u);
    EXPECT_EQ(ipp_list_add(&list, "ab", 2), 1);
    EXPECT_EQ(ipp_list_add(&list, nullptr, 0), 1);
    EXPECT_EQ(list.channels, 5u);
    ipp_list_clear(&list);
    EXPECT_EQ(list.entries, 0u);
    EXPECT_EQ(finished(list), "null");
}

TEST(ListBuilder, TakesNoMoreThanAListHolds)
{
    IppList list = IPP_LIST_EMPTY;
    for (uint32_t i = 0; i < IPP_LIST_MAX_ENTRIES; i++) {
        ASSERT_EQ(ipp_list_add(&list, "x", 1), 1);
    }
    EXPECT_EQ(ipp_list_add(&list, "x", 1), 0);
    EXPECT_EQ(list.size, IPP_LIST_MAX_ENTRIES);
    ipp_list_clear(&list);
    const Bytes large(IPP_LIST_MAX_BYTES - 1);
    EXPECT_EQ(ipp_list_add(&list, large.data(), IPP_LIST_MAX_BYTES - 1), 1);
    EXPECT_EQ(ipp_list_add(&list, "ab", 2), 0);
    EXPECT_EQ(ipp_list_add(&list, "a", 1), 1);
    EXPECT_EQ(list.size, IPP_LIST_MAX_BYTES);
    ipp_list_clear(&list);
}

TEST(ListBuilder, IsAsBeforeWhenMemoryIsOut)
{
    IppList list = IPP_LIST_EMPTY;
    {
        WatchedCall memory(system_calloc);
        memory.fail(ENOMEM);
        EXPECT_EQ(ipp_list_add(&list, "a", 1), -1);
    }
    EXPECT_EQ(ipp_list_add(&list, "a", 1), 1);
    {
        const Bytes large(5000);
        WatchedCall memory(system_realloc);
        memory.fail(ENOMEM);
        EXPECT_EQ(ipp_list_add(&list, large.data(), 5000), -1);
    }
    EXPECT_EQ(list.entries, 1u);
    EXPECT_EQ(finished(list), "1: 61");
}

} // namespace
