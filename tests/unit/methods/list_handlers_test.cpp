/* SPDX-License-Identifier: MIT */
/* The guide and the channel lists: compressed blocks of any size, and what hosts may get wrong. */
#include "support/asked_television.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <cerrno>
#include <map>

namespace
{

/* ---- A slow model of the compression */

/* A number of so many bits. */
struct Code {
    unsigned value;
    unsigned bits;
};

std::vector<Code> codes_of(const Bytes &data, unsigned most_bits)
{
    std::vector<Code> codes;
    std::map<Bytes, unsigned> known;
    unsigned bits = 9;
    const auto code_of = [&](const Bytes &text) {
        return text.size() == 1 ? text[0] : known[text];
    };
    Bytes text = {data[0]};
    for (size_t i = 1; i < data.size(); i++) {
        Bytes longer = text;
        longer.push_back(data[i]);
        if (known.count(longer) == 1) {
            text = longer;
            continue;
        }
        codes.push_back({code_of(text), bits});
        const unsigned next = 258 + static_cast<unsigned>(known.size());
        known[longer] = next;
        text = {data[i]};
        if (next + 1 == 1u << bits) {
            bits++;
            if (bits > most_bits) {
                codes.push_back({256, bits});
                known.clear();
                bits = 9;
            }
        }
    }
    codes.push_back({code_of(text), bits});
    codes.push_back({257, bits});
    return codes;
}

/* The first bit of a code is the first of what is free in a byte; the bits that are left over at
 * the end are followed by themselves, as one more code, unless they are zero. */
Bytes packed(const std::vector<Code> &codes)
{
    std::vector<bool> bits;
    const auto put = [&](const Code &code) {
        for (unsigned bit = code.bits; bit-- > 0;) {
            bits.push_back((code.value >> bit & 1) != 0);
        }
    };
    for (const Code &code : codes) {
        put(code);
    }
    unsigned left = 0;
    for (size_t i = bits.size() / 8 * 8; i < bits.size(); i++) {
        left = left << 1 | (bits[i] ? 1 : 0);
    }
    if (left != 0) {
        put({left, codes.back().bits});
    }
    Bytes result(bits.size() / 8);
    for (size_t i = 0; i < result.size() * 8; i++) {
        result[i / 8] = static_cast<uint8_t>(result[i / 8] << 1 | (bits[i] ? 1 : 0));
    }
    return result;
}

Bytes compressed(const Bytes &data, unsigned most_bits)
{
    return packed(codes_of(data, most_bits));
}

/* Never the same two bytes in a row twice, for as long as it can be: every byte but the first makes
 * a new code. */
Bytes varied(size_t size)
{
    Bytes data(size);
    unsigned state = 12345;
    for (uint8_t &byte : data) {
        state = state * 1103515245 + 12345;
        byte = static_cast<uint8_t>(state >> 16);
    }
    return data;
}

Bytes number(size_t value, size_t size)
{
    Bytes result;
    for (size_t i = 0; i < size; i++) {
        result.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return result;
}

/* ---- The lists */

struct List {
    Handler handler;
    const char *request;
    const char *code;
    const char *tag;
    const char *empty_tag;
    unsigned most_bits;
    const char *counts; /* for the outs 3, 6, 0x12345 */
};

/* clang-format off */
const List LISTS[] = {
    {handle_get_tv_epg, "01 00 20 EE EE 00 EE 00 00 00 00 EE 00 00 00 00",
     "00 20", "A1", "A1", 12, "03 00 45 23"},
    {handle_get_tv_simpleepg, "01 01 20", "01 20", "A3", "A3", 12, "03 00"},
    {handle_get_tv_epgweek, "01 02 20 EE EE 00 00 00 00", "02 20", "A1", "A1", 9, "03 00 00 00"},
    {handle_get_tv_searchsimpleepg, "01 03 20 EE EE 00 00", "03 20", "A3", "A3", 12, "03 00"},
    {handle_get_tv_channelcode, "01 00 30", "00 30", "A5", "A3", 12, "03 00"},
    {handle_get_tv_channelcode2, "01 02 30", "02 30", "A5", "A3", 12, "03 00"},
    {handle_get_tv_channelcode3, "01 16 40 EE 00 00", "16 40", "A5", "A3", 12, "03 00"},
};
/* clang-format on */

class ListHandlers : public AskedTelevision
{
protected:
    void host_gives(const Bytes &data, const std::vector<uint32_t> &outs = {3, 6, 0x12345},
                    bool null_data = false)
    {
        HostAnswers answers;
        answers.outs = outs;
        answers.data = data;
        answers.null_data = null_data;
        host.answer(answers);
    }

    static std::string reply_with(const List &list, const std::string &counts, const Bytes &data)
    {
        const Bytes packed_data = compressed(data, list.most_bits);
        const Bytes count_bytes = bytes(counts);
        return std::string("06 01 ") + list.code + " " + list.tag + " " +
               hex(number(count_bytes.size() + packed_data.size(), 4)) + " " + counts + " " +
               hex(packed_data);
    }

    static std::string empty_reply(const List &list)
    {
        return frame_around(std::string("06 01 ") + list.code + " " + list.empty_tag +
                            " 00 00 00 00");
    }

    void expect_empty(const List &list)
    {
        EXPECT_EQ(ask(list.handler, list.request), -1);
        EXPECT_EQ(host.calls().size(), 1u);
        EXPECT_EQ(phone.received(), empty_reply(list));
    }
};

TEST(ListModel, CompressesAsItIsWrittenDown)
{
    EXPECT_EQ(hex(compressed(bytes("'A'"), 12)), "20 C0 40");
    EXPECT_EQ(hex(compressed(bytes("'AB'"), 12)), "20 90 A0 20");
    EXPECT_EQ(hex(compressed(bytes("'AB'"), 9)), "20 90 A0 20");
}

TEST_F(ListHandlers, SendBlocksOfAnySize)
{
    for (const List &list : LISTS) {
        for (const size_t size :
             std::vector<size_t>{1, 2, 7, 8, 100, 255, 256, 257, 1000, 4000, 12000}) {
            SCOPED_TRACE(std::string(list.request) + ": " + std::to_string(size));
            for (const Bytes &data : {varied(size), Bytes(size, 0), Bytes(size, 'x')}) {
                host_gives(data);
                EXPECT_EQ(ask(list.handler, list.request), 0);
                EXPECT_EQ(phone.received(), frame_around(reply_with(list, list.counts, data)));
            }
        }
    }
}

/* A week's guide is compressed with codes of 9 bits, everything else with up to 12. */
TEST_F(ListHandlers, SendTheWeekWithShorterCodesThanTheRest)
{
    const Bytes data = varied(1000);
    ASSERT_NE(compressed(data, 9), compressed(data, 12));
    host_gives(data);
    EXPECT_EQ(ask(tv_get, "05 01 02 20 01 06 00 00 00 00"), 0);
    EXPECT_EQ(phone.received(),
              frame_around("06 01 02 20 A1 " + hex(number(compressed(data, 9).size() + 4, 4)) +
                           " 03 00 00 00 " + hex(compressed(data, 9))));
    EXPECT_EQ(ask(tv_get, "05 01 01 20 00"), 0);
    EXPECT_EQ(phone.received(),
              frame_around("06 01 01 20 A3 " + hex(number(compressed(data, 12).size() + 2, 4)) +
                           " 03 00 " + hex(compressed(data, 12))));
}

TEST_F(ListHandlers, SendTheEmptyReplyForNull)
{
    for (const List &list : LISTS) {
        SCOPED_TRACE(list.request);
        host_gives({}, {3, 6, 9}, true);
        expect_empty(list);
    }
}

TEST_F(ListHandlers, SendTheEmptyReplyForABlockOfNothing)
{
    for (const List &list : LISTS) {
        SCOPED_TRACE(list.request);
        host_gives({});
        expect_empty(list);
    }
}

/* Literally: the full reply of a channel list says A5, the empty one A3. */
TEST_F(ListHandlers, SendChannelsWithOneTagAndNoChannelsWithAnother)
{
    host_gives(bytes("'A'"), {0x0102});
    EXPECT_EQ(ask(tv_get, "05 01 00 30 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 00 30 A5 05 00 00 00 02 01 20 C0 40"));
    EXPECT_EQ(ask(tv_get, "05 01 02 30 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 02 30 A5 05 00 00 00 02 01 20 C0 40"));
    EXPECT_EQ(ask(tv_get, "05 01 16 40 01 00 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 16 40 A5 05 00 00 00 02 01 20 C0 40"));
    host_gives({}, {}, true);
    EXPECT_EQ(ask(tv_get, "05 01 00 30 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 00 30 A3 00 00 00 00"));
    EXPECT_EQ(ask(tv_get, "05 01 02 30 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 02 30 A3 00 00 00 00"));
    EXPECT_EQ(ask(tv_get, "05 01 16 40 01 00 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 16 40 A3 00 00 00 00"));
}

TEST_F(ListHandlers, SendTheLowHalfOfTheGuidesSecondValue)
{
    const struct {
        std::vector<uint32_t> outs;
        const char *counts;
    } cases[] = {{{0xFFFE, 0xAAAAAAAA, 0x12345678}, "FE FF 78 56"},
                 {{0, 0xAAAAAAAA, 0xFFFF0000}, "00 00 00 00"},
                 {{1, 0, 0x10000}, "01 00 00 00"},
                 {{}, "00 00 00 00"}};
    for (const auto &each : cases) {
        host_gives(bytes("'A'"), each.outs);
        EXPECT_EQ(ask(handle_get_tv_epg, LISTS[0].request), 0);
        EXPECT_EQ(phone.received(), frame_around(reply_with(LISTS[0], each.counts, bytes("'A'"))));
    }
}

TEST_F(ListHandlers, SendTheWholeValueOfTheWeek)
{
    for (const char *counts : {"78 56 34 12", "FF FF FF FF", "00 00 00 00"}) {
        const Bytes value = bytes(counts);
        host_gives(bytes("'A'"),
                   {value[0] | static_cast<uint32_t>(value[1]) << 8 |
                    static_cast<uint32_t>(value[2]) << 16 | static_cast<uint32_t>(value[3]) << 24});
        EXPECT_EQ(ask(handle_get_tv_epgweek, LISTS[2].request), 0);
        EXPECT_EQ(phone.received(), frame_around(reply_with(LISTS[2], counts, bytes("'A'"))));
    }
}

TEST_F(ListHandlers, DoNotSendTheSecondValueOfASearch)
{
    host_gives(bytes("'A'"), {0xABCD, 0x11111111});
    EXPECT_EQ(ask(tv_get, "05 01 03 20 01 08 02 00 'ab'"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_tv_searchsimpleepg \"ab\" 2 *0 *0"});
    EXPECT_EQ(phone.received(), frame_around("06 01 03 20 A3 05 00 00 00 CD AB 20 C0 40"));
}

/* Blocks that a host makes of elements of any size count their bytes. */
TEST_F(ListHandlers, TakeTheSecondWordOfABlockForItsLength)
{
    static uint32_t *block;
    block = static_cast<uint32_t *>(std::malloc(8 + 2));
    block[0] = 512; /* what an element is said to have */
    block[1] = 2;
    std::memcpy(block + 2, "AB", 2);
    TvMethodTable table = {};
    table.get_tv_channelcode = [](uint16_t *) { return static_cast<void *>(block + 2); };
    register_tv_method(&table);
    EXPECT_EQ(ask(handle_get_tv_channelcode, "01 00 30"), 0);
    host.come_back();
    EXPECT_EQ(phone.received(), frame_around("06 01 00 30 A5 06 00 00 00 00 00 20 90 A0 20"));
}

TEST_F(ListHandlers, NeedNoRequestWhenTheyTakeNoArgument)
{
    host_gives(bytes("'A'"), {1});
    for (const size_t i : {1u, 4u, 5u}) {
        EXPECT_EQ(LISTS[i].handler(phone.record(), nullptr, 0), 0);
        EXPECT_EQ(phone.received(), frame_around(reply_with(LISTS[i], "01 00", bytes("'A'"))));
    }
}

TEST_F(ListHandlers, LoseNothingWhenMemoryIsOut)
{
    for (SystemFunction *function : SystemFunctions{&system_calloc, &system_realloc}) {
        for (const List &list : LISTS) {
            SCOPED_TRACE(list.request);
            host_gives(varied(30000));
            WatchedCall memory(*function);
            EXPECT_EQ(ask(list.handler, list.request), 0);
            phone.received();
            const long all = memory.calls();
            EXPECT_GE(all, 2);
            host.calls();
            for (long call = 1; call <= all; call++) {
                memory.fail(ENOMEM, call);
                EXPECT_EQ(ask(list.handler, list.request), -1);
                EXPECT_EQ(phone.received(), empty_reply(list));
            }
        }
    }
}

/* ---- Dumps */

TEST_F(ListHandlers, DumpTheSearchWholeUnderTheNameOfTheSimpleGuide)
{
    ipp_set_log_dumps(1);
    for (const List &list : LISTS) {
        host_gives(bytes("'AB'"), {3});
        EXPECT_EQ(ask(list.handler, list.request), 0);
        const bool dumps = list.handler == handle_get_tv_searchsimpleepg;
        EXPECT_EQ(lines.out(),
                  dumps ? Lines{"handle_get_tv_simpleepg: 0x01 0x03 0x20 0xa3 0x06 0x00 0x00 0x00 "
                                "0x03 0x00 0x20 0x90 0xa0 0x20 \n"}
                        : Lines());
        lines.clear();
        host_gives({}, {}, true);
        EXPECT_EQ(ask(list.handler, list.request), -1);
        EXPECT_TRUE(lines.all().empty());
    }
    ipp_set_log_dumps(0);
}

TEST_F(ListHandlers, DumpALongSearchWholeBeforeItIsSent)
{
    ipp_set_log_dumps(1);
    size_t before_frame = 0;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        before_frame = lines.out().size();
        return system_send.real(fd, data, size, flags);
    });
    const Bytes data = varied(1000);
    host_gives(data);
    EXPECT_EQ(ask(handle_get_tv_searchsimpleepg, LISTS[3].request), 0);
    ipp_set_log_dumps(0);
    EXPECT_EQ(before_frame, 1u);
    const std::string name = "handle_get_tv_simpleepg: ";
    ASSERT_EQ(lines.out().size(), 1u);
    EXPECT_EQ(lines.out()[0].size(), name.size() + (10 + compressed(data, 12).size()) * 5 + 1);
}

} // namespace
