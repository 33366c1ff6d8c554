/* SPDX-License-Identifier: MIT */
/* The media player: addresses that change hands, blocks of data, and what is never answered. */
#include "support/asked_television.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <cstdlib>

namespace
{

/* What a slot of the test's own has been given last. */
char *kept_address;
Bytes block_and_zero;

class PlayerHandlers : public AskedTelevision
{
protected:
    void register_own(const TvMethodTable &table)
    {
        own_ = table;
        register_tv_method(&own_);
    }

    TvMethodTable own_ = {};
};

TEST_F(PlayerHandlers, AddrLeavesTheTextToTheHostForGood)
{
    TvMethodTable table = {};
    table.set_play_addr = [](char *address) {
        kept_address = address;
        return 0;
    };
    register_own(table);
    EXPECT_EQ(ask(tv_set, "07 05 15 08 04 00 'http'"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 05 15 00"));
    given.clear();
    EXPECT_STREQ(kept_address, "http");
    std::strcpy(kept_address, "mine");
    std::free(kept_address);
}

TEST_F(PlayerHandlers, AddrLeavesTheTextToTheHostAlsoWhenTheHostFails)
{
    TvMethodTable table = {};
    table.set_play_addr = [](char *address) {
        kept_address = address;
        return -1;
    };
    register_own(table);
    EXPECT_EQ(ask(tv_set, "07 05 15 08 04 00 'http'"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 05 15 FF"));
    EXPECT_STREQ(kept_address, "http");
    std::free(kept_address);
}

std::string addr2(const std::string &length, size_t size)
{
    return "17 15 EE 08 01 00 'a' EE " + length + " " + characters(size, 'd') + " EE 05";
}

TEST_F(PlayerHandlers, Addr2TakesBlocksOfAnySize)
{
    const struct {
        const char *length;
        size_t size;
    } cases[] = {{"00 00 00 00", 0},
                 {"FF FF 00 00", 65535},
                 {"00 00 01 00", 65536},
                 {"40 42 0F 00", 1000000}};
    for (const auto &each : cases) {
        EXPECT_EQ(ask(handle_set_play_addr2, addr2(each.length, each.size)), 0);
        EXPECT_EQ(host.calls(), Lines{"set_play_addr2 \"a\" \"" + std::string(each.size, 'd') +
                                      "\" " + std::to_string(each.size) + " 5"});
        EXPECT_EQ(phone.received(), frame_around("08 17 15 00"));
    }
}

TEST_F(PlayerHandlers, Addr2PutsAZeroBehindTheBlock)
{
    TvMethodTable table = {};
    table.set_play_addr2 = [](const char *, const void *data, uint32_t length, uint8_t) {
        const uint8_t *first = static_cast<const uint8_t *>(data);
        block_and_zero.assign(first, first + length + 1);
        return 0;
    };
    register_own(table);
    EXPECT_EQ(ask(handle_set_play_addr2, "17 15 EE 08 01 00 'a' EE 02 00 00 00 FE FF EE 05"), 0);
    EXPECT_EQ(hex(block_and_zero), "FE FF 00");
    EXPECT_EQ(ask(handle_set_play_addr2, "17 15 EE 08 01 00 'a' EE 00 00 00 00 EE 05"), 0);
    EXPECT_EQ(hex(block_and_zero), "00");
}

TEST_F(PlayerHandlers, Addr2RefusesBlocksThatClaimMoreThanThereIs)
{
    for (const char *length : {"04 00 00 00", "FF FF FF 7F", "00 00 00 80", "F0 FF FF FF",
                               "FD FF FF FF", "FE FF FF FF", "FF FF FF FF"}) {
        EXPECT_EQ(ask(handle_set_play_addr2, addr2(length, 1)), -1) << length;
        EXPECT_TRUE(host.calls().empty()) << length;
        EXPECT_EQ(phone.received(), frame_around("08 17 15 FF")) << length;
    }
}

TEST_F(PlayerHandlers, SpeedDoesNothingWhateverItIsGiven)
{
    for (const char *request : {"", "06", "06 15", "06 15 02 01", "FF FF FF FF FF FF FF FF"}) {
        EXPECT_EQ(ask(handle_set_play_speed, request), 0);
    }
    EXPECT_EQ(handle_set_play_speed(phone.record(), nullptr, 0), 0);
    EXPECT_EQ(handle_set_play_speed(phone.record(), nullptr, INT32_MIN), 0);
    EXPECT_EQ(handle_set_play_speed(nullptr, nullptr, 0), 0);
    EXPECT_EQ(ask(tv_set, "07 06 15 02 01"), 0);
    EXPECT_TRUE(host.calls().empty());
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(phone.received(), "");
}

TEST_F(PlayerHandlers, ReadNothingOfAQueryWithoutArguments)
{
    HostAnswers answers;
    answers.result = 0x01020384;
    host.answer(answers);
    const struct {
        Handler handler;
        const char *reply;
    } cases[] = {{handle_get_play_status, "06 01 01 15 02 84"},
                 {handle_get_play_position, "06 01 02 15 06 84 03 02 01"},
                 {handle_get_play_duration, "06 01 03 15 06 84 03 02 01"},
                 {handle_get_tv_code0001, "06 01 01 00 02 84"},
                 {handle_get_tv_code0105, "06 01 05 01 02 84"},
                 {handle_get_tv_code2005, "06 01 05 20 06 84 03 02 01"}};
    for (const auto &each : cases) {
        EXPECT_EQ(each.handler(phone.record(), nullptr, 0), 0);
        EXPECT_EQ(phone.received(), frame_around(each.reply));
    }
}

/* The same number reads and seeks: the frame type decides. */
TEST_F(PlayerHandlers, PositionIsReadAndSetUnderOneCode)
{
    HostAnswers answers;
    answers.result = 7;
    host.answer(answers);
    EXPECT_EQ(ask(tv_get, "05 01 02 15 00"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_play_position"});
    EXPECT_EQ(phone.received(), frame_around("06 01 02 15 06 07 00 00 00"));
    EXPECT_EQ(ask(tv_set, "07 02 15 05 0A 00 00 00"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_play_seek 10"});
    EXPECT_EQ(phone.received(), frame_around("08 02 15 07"));
}

} // namespace
