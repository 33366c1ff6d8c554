/* SPDX-License-Identifier: MIT */
#include "controlpoint_calls.h"
#include "controlpoint_lists.h"
#include "cp_test_bytes.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace
{

using namespace cp_test;

/* A text in a field, filled with zeros. */
Bytes field(const std::string &text, size_t size)
{
    return text_bytes(text) + zeros(size - text.size());
}

Bytes channel_cell()
{
    return Bytes{0x02, 0x01, 0xEE, 0xEE} + field("News", 64) + field("Info", 32) +
           field("news.example", 32) + field("http://tv/news", 124);
}

/* Channel 513, start 0x01020304, duration 0x00000708, title "ab", category "c", description "". */
Bytes guide_entry()
{
    return {21, 0, 0x01, 0x02, 4, 3, 2, 1, 8, 7, 0, 0, 2, 0, 'a', 'b', 1, 0, 'c', 0, 0};
}

/* No shorter beginning of these bytes is a whole entry. */
template <typename Entry>
void expect_every_truncation_refused(CpStatus (*take)(CpBytes *, Entry *), const Bytes &whole,
                                     Entry full)
{
    for (size_t size = 0; size < whole.size(); size++) {
        const Bytes part = front_of(whole, size);
        CpBytes block = view(part);
        Entry entry = full;
        EXPECT_EQ(take(&block, &entry), CP_PROTOCOL) << size;
        EXPECT_EQ(taken(block), part) << size;
    }
}

TEST(ControlPointLists, AreTakenApartByTheirCode)
{
    const struct {
        uint16_t code;
        uint8_t tag;
        CpListKind kind;
        bool two_counts;
        uint32_t count;
        uint16_t second;
    } cases[] = {
        {0x2000, 0xA1, CP_LIST_GUIDE, true, 0x0201, 0x0403},
        {0x2001, 0xA3, CP_LIST_GUIDE, false, 0x0201, 0},
        {0x2002, 0xA1, CP_LIST_GUIDE, true, 0x04030201, 0},
        {0x2003, 0xA3, CP_LIST_GUIDE, false, 0x0201, 0},
        {0x3000, 0xA5, CP_LIST_CHANNELS, false, 0x0201, 0},
        {0x3002, 0xA5, CP_LIST_SHORT_CHANNELS, false, 0x0201, 0},
        {0x4016, 0xA5, CP_LIST_CHANNELS, false, 0x0201, 0},
    };
    for (const auto &one : cases) {
        const Bytes id = {static_cast<uint8_t>(one.code), static_cast<uint8_t>(one.code >> 8)};
        const Bytes counts = one.two_counts ? Bytes{1, 2, 3, 4} : Bytes{1, 2};
        const auto length = static_cast<uint8_t>(counts.size() + 2);
        const Bytes payload =
            Bytes{1} + id + Bytes{one.tag, length, 0, 0, 0} + counts + Bytes{0xAA, 0xBB};
        CpList list = {};
        ASSERT_EQ(cp_decode_list(view(payload), &list), CP_OK) << one.code;
        EXPECT_EQ(list.code, one.code);
        EXPECT_EQ(list.kind, one.kind) << one.code;
        EXPECT_FALSE(list.empty) << one.code;
        EXPECT_EQ(list.count, one.count) << one.code;
        EXPECT_EQ(list.second, one.second) << one.code;
        EXPECT_EQ(taken(list.packed), (Bytes{0xAA, 0xBB})) << one.code;
        EXPECT_EQ(cp_decode_list(view(payload + Bytes{0}), &list), CP_PROTOCOL) << one.code;
        EXPECT_EQ(list.code, 0) << one.code;
        for (size_t size = 4; size < payload.size(); size++) {
            const Bytes part = front_of(payload, size);
            EXPECT_EQ(cp_decode_list(view(part), &list), CP_PROTOCOL) << one.code << " " << size;
        }
    }
}

TEST(ControlPointLists, AreEmptyByTheirLengthWhateverTheirTag)
{
    for (const uint8_t tag : Bytes{0xA1, 0xA3, 0xA5}) {
        const Bytes payload = {1, 0x00, 0x30, tag, 0, 0, 0, 0};
        CpList list = {};
        ASSERT_EQ(cp_decode_list(view(payload), &list), CP_OK);
        EXPECT_TRUE(list.empty);
        EXPECT_EQ(list.kind, CP_LIST_CHANNELS);
        EXPECT_EQ(list.packed.size, 0U);
    }
    const Bytes no_value = {1, 0x00, 0x30};
    CpList list = {};
    ASSERT_EQ(cp_decode_list(view(no_value), &list), CP_OK);
    EXPECT_TRUE(list.empty);
}

TEST(ControlPointLists, HaveTheTagOfTheirCode)
{
    const Bytes guide_tag = {1, 0x00, 0x30, 0xA3, 3, 0, 0, 0, 1, 0, 0xAA};
    const Bytes no_list = {1, 0x00, 0x30, 0x06, 0, 0, 0, 0};
    const Bytes other_code = {1, 0x07, 0x20, 0xA2, 2, 0, 0, 0, 0, 0};
    CpList list = {};
    EXPECT_EQ(cp_decode_list(view(guide_tag), &list), CP_PROTOCOL);
    EXPECT_EQ(cp_decode_list(view(no_list), &list), CP_PROTOCOL);
    EXPECT_EQ(cp_decode_list(view(other_code), &list), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_list(view(other_code), nullptr), CP_BAD_ARGUMENT);
}

TEST(ControlPointLists, CountModulo65536UnlessTheirCountIsWide)
{
    CpList list = {};
    list.code = CP_CODE_GUIDE;
    list.count = 5;
    EXPECT_TRUE(cp_list_has(&list, 5));
    EXPECT_TRUE(cp_list_has(&list, 65536 + 5));
    EXPECT_FALSE(cp_list_has(&list, 6));
    list.code = CP_CODE_GUIDE_WEEK;
    EXPECT_TRUE(cp_list_has(&list, 5));
    EXPECT_FALSE(cp_list_has(&list, 65536 + 5));
    list.count = 65536 + 5;
    EXPECT_TRUE(cp_list_has(&list, 65536 + 5));
    EXPECT_FALSE(cp_list_has(nullptr, 0));
}

TEST(ControlPointEntries, AreChannelsInCellsOf256Bytes)
{
    const Bytes bytes = channel_cell() + channel_cell() + Bytes{9};
    CpBytes block = view(bytes);
    for (int i = 0; i < 2; i++) {
        CpChannel channel = {};
        ASSERT_EQ(cp_take_channel(&block, &channel), CP_OK);
        EXPECT_EQ(channel.number, 0x0102);
        EXPECT_EQ(text_of(channel.name), "News");
        EXPECT_EQ(text_of(channel.group), "Info");
        EXPECT_EQ(text_of(channel.guide_id), "news.example");
        EXPECT_EQ(text_of(channel.address), "http://tv/news");
    }
    EXPECT_EQ(taken(block), Bytes{9});
    expect_every_truncation_refused(cp_take_channel, channel_cell(), CpChannel{});
}

TEST(ControlPointEntries, AreChannelsOnlyWithTextsThatEndInTheirFields)
{
    const size_t ends[] = {4 + 64 - 1, 68 + 32 - 1, 100 + 32 - 1, 132 + 124 - 1};
    const size_t begins[] = {4, 68, 100, 132};
    for (size_t i = 0; i < 4; i++) {
        Bytes bytes = channel_cell();
        for (size_t at = begins[i]; at < ends[i]; at++) {
            bytes[at] = 'x';
        }
        CpBytes block = view(bytes);
        CpChannel channel = {};
        EXPECT_EQ(cp_take_channel(&block, &channel), CP_OK) << i;
        bytes[ends[i]] = 'x';
        block = view(bytes);
        EXPECT_EQ(cp_take_channel(&block, &channel), CP_PROTOCOL) << i;
        EXPECT_EQ(channel.number, 0) << i;
        EXPECT_EQ(channel.name.size, 0U) << i;
        EXPECT_EQ(block.size, 256U) << i;
    }
}

TEST(ControlPointEntries, AreShortChannels)
{
    const Bytes bytes = {0x02, 0x01, 2, 'a', 'b', 3, 0, 0};
    CpBytes block = view(bytes);
    CpChannel channel = {};
    ASSERT_EQ(cp_take_short_channel(&block, &channel), CP_OK);
    EXPECT_EQ(channel.number, 0x0102);
    EXPECT_EQ(text_of(channel.name), "ab");
    ASSERT_EQ(cp_take_short_channel(&block, &channel), CP_OK);
    EXPECT_EQ(channel.number, 3);
    EXPECT_EQ(text_of(channel.name), "");
    EXPECT_EQ(channel.address.size, 0U);
    EXPECT_EQ(block.size, 0U);
    EXPECT_EQ(cp_take_short_channel(&block, &channel), CP_PROTOCOL);
    expect_every_truncation_refused(cp_take_short_channel, {0x02, 0x01, 2, 'a', 'b'}, CpChannel{});
}

TEST(ControlPointEntries, AreProgrammesThatTellTheirSize)
{
    Bytes longer = guide_entry() + text_bytes("later fields");
    longer[0] = static_cast<uint8_t>(longer.size());
    const Bytes bytes = longer + guide_entry();
    CpBytes block = view(bytes);
    for (int i = 0; i < 2; i++) {
        CpGuideEntry entry = {};
        ASSERT_EQ(cp_take_guide_entry(&block, &entry), CP_OK);
        EXPECT_EQ(entry.channel, 513);
        EXPECT_EQ(entry.start, 0x01020304U);
        EXPECT_EQ(entry.duration, 1800U);
        EXPECT_EQ(text_of(entry.title), "ab");
        EXPECT_EQ(text_of(entry.category), "c");
        EXPECT_EQ(text_of(entry.description), "");
    }
    EXPECT_EQ(block.size, 0U);
    expect_every_truncation_refused(cp_take_guide_entry, guide_entry(), CpGuideEntry{});
}

TEST(ControlPointEntries, AreProgrammesOnlyWhenAllFieldsLieInTheirSize)
{
    for (uint8_t size = 0; size < 21; size++) {
        Bytes bytes = guide_entry() + guide_entry();
        bytes[0] = size;
        CpBytes block = view(bytes);
        CpGuideEntry entry = {};
        EXPECT_EQ(cp_take_guide_entry(&block, &entry), CP_PROTOCOL) << int{size};
        EXPECT_EQ(entry.start, 0U) << int{size};
        EXPECT_EQ(block.size, bytes.size()) << int{size};
    }
    for (const size_t length_at : {size_t{12}, size_t{16}, size_t{19}}) {
        Bytes bytes = guide_entry() + zeros(300);
        bytes[length_at + 1] = 1;
        CpBytes block = view(bytes);
        CpGuideEntry entry = {};
        EXPECT_EQ(cp_take_guide_entry(&block, &entry), CP_PROTOCOL) << length_at;
    }
}

TEST(ControlPointEntries, AreTextCellsAndNumbers)
{
    const Bytes cells = field("one", 256) + field("", 256);
    CpBytes block = view(cells);
    CpBytes text = {};
    ASSERT_EQ(cp_take_text_cell(&block, &text), CP_OK);
    EXPECT_EQ(text_of(text), "one");
    ASSERT_EQ(cp_take_text_cell(&block, &text), CP_OK);
    EXPECT_EQ(text_of(text), "");
    EXPECT_EQ(block.size, 0U);
    const Bytes full(256, 'x');
    block = view(full);
    EXPECT_EQ(cp_take_text_cell(&block, &text), CP_PROTOCOL);
    expect_every_truncation_refused(cp_take_text_cell, field("one", 256), CpBytes{});

    const Bytes numbers = {1, 2, 3, 4, 9};
    block = view(numbers);
    uint32_t number = 0;
    ASSERT_EQ(cp_take_number(&block, &number), CP_OK);
    EXPECT_EQ(number, 0x04030201U);
    EXPECT_EQ(cp_take_number(&block, &number), CP_PROTOCOL);
    EXPECT_EQ(number, 0U);
    EXPECT_EQ(block.size, 1U);
}

/* Takes entries until none is left; each must make the block shorter, or leave it. */
template <typename Entry> void take_all(const Bytes &bytes, CpStatus (*take)(CpBytes *, Entry *))
{
    CpBytes block = view(bytes);
    CpStatus status = CP_OK;
    while (status == CP_OK) {
        const size_t before = block.size;
        Entry entry = {};
        status = take(&block, &entry);
        ASSERT_TRUE(status == CP_OK ? block.size < before : block.size == before);
    }
    ASSERT_EQ(status, CP_PROTOCOL);
}

TEST(ControlPointEntries, SurviveWhateverBytesArrive)
{
    std::mt19937 random(5);
    for (int round = 0; round < 2000; round++) {
        Bytes bytes(random() % 700);
        /* Small numbers make entries that fit. */
        const unsigned variety = round % 2 == 0 ? 256 : 3;
        std::generate(bytes.begin(), bytes.end(), [&] {
            return static_cast<uint8_t>(random() % 4 == 0 ? random() % variety * 9 : 0);
        });
        take_all(bytes, cp_take_channel);
        take_all(bytes, cp_take_short_channel);
        take_all(bytes, cp_take_guide_entry);
        take_all(bytes, cp_take_text_cell);
        take_all(bytes, cp_take_number);
    }
}

TEST(ControlPointEntries, NeedAPlaceToGoTo)
{
    CpBytes block = {};
    CpChannel channel = {};
    CpGuideEntry entry = {};
    EXPECT_EQ(cp_take_channel(nullptr, &channel), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_channel(&block, nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_short_channel(nullptr, &channel), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_short_channel(&block, nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_guide_entry(nullptr, &entry), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_guide_entry(&block, nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_text_cell(nullptr, &block), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_text_cell(&block, nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_take_number(&block, nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_film_status(block, nullptr), CP_BAD_ARGUMENT);
}

TEST(ControlPointFilmStatus, IsARecordOf280Bytes)
{
    const Bytes record = Bytes{1, 0, 0, 0, 2, 1, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0} +
                         field("A Film", 128) + field("http://tv/film", 136);
    ASSERT_EQ(record.size(), size_t{CP_FILM_STATUS_SIZE});
    CpFilmStatus status = {};
    ASSERT_EQ(cp_decode_film_status(view(record), &status), CP_OK);
    EXPECT_EQ(status.state, uint32_t{CP_PLAYER_PLAYING});
    EXPECT_EQ(status.position, 258U);
    EXPECT_EQ(status.duration, 3U);
    EXPECT_EQ(status.film, 4U);
    EXPECT_EQ(text_of(status.title), "A Film");
    EXPECT_EQ(text_of(status.address), "http://tv/film");

    EXPECT_EQ(cp_decode_film_status(view(front_of(record, 279)), &status), CP_PROTOCOL);
    EXPECT_EQ(status.state, 0U);
    EXPECT_EQ(cp_decode_film_status(view(record + Bytes{0}), &status), CP_PROTOCOL);
    for (const size_t end : {size_t{16 + 128}, size_t{280}}) {
        Bytes endless = record;
        const size_t begin = end == 280 ? 144 : 16;
        for (size_t at = begin; at < end; at++) {
            endless[at] = 'x';
        }
        EXPECT_EQ(cp_decode_film_status(view(endless), &status), CP_PROTOCOL) << end;
    }
}

} // namespace
