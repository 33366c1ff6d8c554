/* SPDX-License-Identifier: MIT */
/* The host that other tests ask: what it writes down, and what it answers. */
#include "support/recording_host.h"

#include <cstdlib>
#include <set>

#include <gtest/gtest.h>

namespace
{

using Lines = std::vector<std::string>;

TEST(RecordingHost, FillsEverySlotButTheReservedOnes)
{
    const RecordingHost host;
    std::set<size_t> empty;
    for (size_t slot = 0; slot < sizeof(TvMethodTable) / sizeof(void *); slot++) {
        if (reinterpret_cast<void *const *>(g_tv_method)[slot] == nullptr) {
            empty.insert(slot);
        }
    }
    const std::set<size_t> reserved = {
#define RESERVED(slot) slot,
#include "protocol/operations.def"
    };
    EXPECT_EQ(empty, reserved);
}

TEST(RecordingHost, LeavesNoTableBehind)
{
    {
        RecordingHost host;
        EXPECT_NE(g_tv_method, nullptr);
        host.withdraw();
        EXPECT_EQ(g_tv_method, nullptr);
        host.come_back();
        EXPECT_NE(g_tv_method, nullptr);
    }
    EXPECT_EQ(g_tv_method, nullptr);
}

TEST(RecordingHost, WritesDownEveryKindOfArgument)
{
    RecordingHost host;
    char buffer[257] = {};
    uint32_t count = 7;
    g_tv_method->set_tv_vod(18, 1, 2, 3, nullptr, 0);
    g_tv_method->set_tv_vod_vt_long(1, "a\"\n", INT64_MIN);
    g_tv_method->tv_sendvoice("\0ab", 3);
    std::free(g_tv_method->get_tv_vodintarray2(&count, "x"));
    g_tv_method->get_tv_text(buffer);
    buffer[255] = 1;
    g_tv_method->get_tv_text(buffer);
    const Lines calls = host.calls();
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(
        Lines(calls.begin(), calls.begin() + 5),
        (Lines{"set_tv_vod 18 1 2 3 null 0",
               "set_tv_vod_vt_long 1 \"a\\x22\\x0A\" -9223372036854775808",
               "tv_sendvoice \"\\x00ab\" 3", "get_tv_vodintarray2 *7 \"x\"", "get_tv_text [256]"}));
    EXPECT_NE(calls[5], "get_tv_text [256]");
    EXPECT_TRUE(host.calls().empty());
    EXPECT_EQ(count, 7u);
}

TEST(RecordingHost, AnswersInTheFormOfEachSlot)
{
    RecordingHost host;
    HostAnswers answers;
    answers.result = -2;
    answers.text = "told";
    answers.outs = {0x12345, 9};
    answers.data = bytes("'data'");
    host.answer(answers);

    char buffer[257] = {};
    EXPECT_EQ(g_tv_method->get_tv_text(buffer), -2);
    EXPECT_STREQ(buffer, "told");
    EXPECT_EQ(g_tv_method->get_play_position(), 0xFFFFFFFEu);

    uint16_t count = 0;
    uint32_t size = 0;
    void *data = g_tv_method->get_tv_order(&count, &size);
    EXPECT_EQ(hex(data, 4), hex(answers.data));
    EXPECT_EQ(count, 0x2345);
    EXPECT_EQ(size, 9u);
    std::free(data);

    char *text = g_tv_method->get_tv_vodstr(0);
    EXPECT_STREQ(text, "data");
    std::free(text);

    uint32_t *block = static_cast<uint32_t *>(g_tv_method->get_tv_channelcode(&count));
    EXPECT_EQ(hex(block - 2, 12), "01 00 00 00 04 00 00 00 64 61 74 61");
    std::free(block - 2);

    EXPECT_EQ(hex(g_tv_method->get_screen_shot2(0, 0, &size), 4), hex(answers.data));
    char *owned = static_cast<char *>(std::calloc(1, 2));
    EXPECT_EQ(g_tv_method->set_play_addr(owned), -2);

    answers.null_data = true;
    host.answer(answers);
    EXPECT_EQ(g_tv_method->get_tv_order(&count, &size), nullptr);
}

} // namespace
