/* SPDX-License-Identifier: MIT */
/* Video on demand, metadata, applications and voice: what hosts and phones may get wrong. */
#include "support/asked_television.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <cstddef>

namespace
{

class VideoHandlers : public AskedTelevision
{
protected:
    void host_answers(int result, const std::string &text, bool terminated = true)
    {
        HostAnswers answers;
        answers.result = result;
        answers.text = text;
        answers.terminated = terminated;
        host.answer(answers);
    }

    void host_gives(const std::vector<uint32_t> &outs, const Bytes &data, bool null_data = false)
    {
        HostAnswers answers;
        answers.outs = outs;
        answers.data = data;
        answers.null_data = null_data;
        host.answer(answers);
    }
};

/* ---- Texts that the host writes into a buffer */

const struct {
    Handler handler;
    const char *request;
    const char *reply; /* up to the length */
    size_t size;       /* of the buffer */
} WRITTEN[] = {
    {handle_get_tv_currentposition, "01 02 40", "06 01 02 40 08", 65535},
    {handle_get_tv_installapklist, "01 01 40 EE EE 00 00 00 00", "06 01 01 40 08", 65535},
    {handle_get_tv_metadata, "01 03 40 EE EE 00 EE 00 00 00 00", "06 01 03 40 08", 65535},
    {handle_get_europe_version, "01 24 40", "06 01 24 40 08", 32},
    {handle_get_tv_code400b, "01 0B 40 EE EE EE 00 00", "06 01 0B 40 08", 2560},
    {handle_get_tv_code400c, "01 0C 40 EE EE EE 00 00", "06 01 0C 40 08", 2560},
    {handle_get_tv_code400d, "01 0D 40 EE EE EE 00 00", "06 01 0D 40 08", 2560},
    {handle_get_tv_code4015, "01 15 40 EE EE EE 00 00", "06 01 15 40 08", 2560},
    {handle_set_tv_setting_mtnadata, "08 40 EE EE EE 00 00 00 00 EE 00", "06 01 08 40 08", 2560},
};

std::string reply_with(const char *reply, size_t length)
{
    const Bytes size = {static_cast<uint8_t>(length), static_cast<uint8_t>(length >> 8)};
    return frame_around(std::string(reply) + " " + hex(size) + " " + characters(length, 't'));
}

TEST_F(VideoHandlers, SendWhateverFitsTheLentBuffer)
{
    for (const auto &each : WRITTEN) {
        for (const size_t length : {size_t{0}, size_t{1}, each.size - 2, each.size - 1}) {
            SCOPED_TRACE(std::string(each.request) + ": " + std::to_string(length));
            host_answers(0, std::string(length, 't'));
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(), reply_with(each.reply, length));
        }
    }
}

/* The buffer is a byte longer than the host is told. */
TEST_F(VideoHandlers, EndATextThatTheHostHasNot)
{
    for (const auto &each : WRITTEN) {
        SCOPED_TRACE(each.request);
        for (const size_t length : {size_t{3}, each.size}) {
            host_answers(0, std::string(length, 't'), false);
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(), reply_with(each.reply, length));
        }
    }
}

TEST_F(VideoHandlers, LendAZeroedBufferEveryTime)
{
    for (const auto &each : WRITTEN) {
        SCOPED_TRACE(each.request);
        host_answers(0, std::string(each.size, 't'), false);
        EXPECT_EQ(ask(each.handler, each.request), 0);
        const Lines first = host.calls();
        EXPECT_EQ(ask(each.handler, each.request), 0);
        EXPECT_EQ(host.calls(), first);
        EXPECT_NE(first[0].find("[" + std::to_string(each.size) + "]"), std::string::npos);
        phone.received();
    }
}

/* ---- Texts that the host gives away */

const struct {
    Handler handler;
    const char *request;
    const char *reply; /* up to the length */
    const char *empty;
} GIVEN[] = {
    {handle_get_tv_vodstr, "01 0E 20 EE EE 07", "06 01 0E 20 08", "06 01 0E 20"},
    {handle_get_tv_vodstr2, "01 18 40 EE EE 07 EE 00 00", "06 01 18 40 08", "06 01 18 40"},
};

TEST_F(VideoHandlers, SendAGivenTextUpToTheLongestThatALengthCanSay)
{
    for (const auto &each : GIVEN) {
        SCOPED_TRACE(each.request);
        for (const size_t length : {size_t{0}, size_t{1}, size_t{65534}, size_t{65535}}) {
            host_gives({}, Bytes(length, 't'));
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(), reply_with(each.reply, length));
        }
        for (const size_t length : {size_t{65536}, size_t{65537}, size_t{200000}}) {
            host_gives({}, Bytes(length, 't'));
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(), reply_with(each.reply, 65535));
        }
    }
}

TEST_F(VideoHandlers, SendTheEmptyReplyForATextThatIsNull)
{
    for (const auto &each : GIVEN) {
        host_gives({}, {}, true);
        EXPECT_EQ(ask(each.handler, each.request), -1);
        EXPECT_EQ(host.calls().size(), 1u);
        EXPECT_EQ(phone.received(), frame_around(each.empty));
    }
}

/* ---- Status records */

std::string record_reply(const std::string &record)
{
    return frame_around("06 01 0F 20 A4 18 01 00 00 " + record);
}

TEST_F(VideoHandlers, SendARecordWholeWhateverItHolds)
{
    const std::string start = "01 21 40 EE 02 00 'ab'";
    host_answers(1, std::string(280, '\xFF'), false);
    EXPECT_EQ(ask(handle_get_tv_vodstatus, "01 0F 20"), 0);
    EXPECT_EQ(phone.received(), record_reply(hex(Bytes(280, 0xFF))));
    EXPECT_EQ(ask(handle_get_tv_vodstatus2, start), 0);
    EXPECT_EQ(phone.received(), record_reply(hex(Bytes(280, 0xFF))));

    host_answers(1, std::string("\0a\0b", 4), false);
    EXPECT_EQ(ask(handle_get_tv_vodstatus, "01 0F 20"), 0);
    EXPECT_EQ(phone.received(), record_reply("00 'a' 00 'b' " + hex(Bytes(276))));
    EXPECT_EQ(ask(handle_get_tv_vodstatus2, start), 0);
    EXPECT_EQ(phone.received(), record_reply("00 'a' 00 'b' " + hex(Bytes(276))));
}

int fill_as_a_structure(void *record)
{
    EXPECT_EQ(reinterpret_cast<uintptr_t>(record) % alignof(std::max_align_t), 0u);
    return 0;
}

int fill_as_a_structure2(const char *, void *record)
{
    return fill_as_a_structure(record);
}

TEST_F(VideoHandlers, LendARecordThatAnyStructureMayStandIn)
{
    TvMethodTable table = {};
    table.get_tv_vodstatus = fill_as_a_structure;
    table.get_tv_vodstatus2 = fill_as_a_structure2;
    register_tv_method(&table);
    EXPECT_EQ(ask(handle_get_tv_vodstatus, "01 0F 20"), -1);
    EXPECT_EQ(ask(handle_get_tv_vodstatus2, "01 21 40 EE 00 00"), -1);
    host.come_back();
}

TEST_F(VideoHandlers, Status2AnswersWithTheCodeOfTheFirstStatus)
{
    host_answers(1, "");
    EXPECT_EQ(ask(tv_get, "05 01 21 40 01 00 00"), 0);
    EXPECT_EQ(phone.received(), record_reply(hex(Bytes(280))));
    host_answers(0, "");
    EXPECT_EQ(ask(tv_get, "05 01 21 40 01 00 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 21 40"));
}

/* ---- Arrays */

const struct {
    Handler handler;
    const char *request;
    const char *reply; /* up to the length */
    const char *empty;
    uint32_t size; /* of an element */
} ARRAYS[] = {
    {handle_get_tv_vodintarray, "01 10 20", "06 01 10 20 0C", "06 01 10 20", 4},
    {handle_get_tv_vodintarray2, "01 1C 40 EE EE 00 00", "06 01 1C 40 0C", "06 01 1C 40", 4},
    {handle_get_tv_vodarraystring, "01 11 20", "06 01 11 20 0C", "06 01 11 20", 256},
    {handle_get_tv_vodarraystring2, "01 1B 40 EE 00 00", "06 01 1B 40 0C", "06 01 1B 40", 256},
};

TEST_F(VideoHandlers, SendAsManyElementsAsTheHostCounts)
{
    for (const auto &each : ARRAYS) {
        for (const uint32_t count : {1u, 2u, 255u, 400u}) {
            SCOPED_TRACE(std::string(each.request) + ": " + std::to_string(count));
            const uint32_t size = count * each.size;
            Bytes data(size);
            for (uint32_t i = 0; i < size; i++) {
                data[i] = static_cast<uint8_t>(i % 251);
            }
            const Bytes length = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                                  static_cast<uint8_t>(size >> 16), 0};
            host_gives({count}, data);
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(),
                      frame_around(std::string(each.reply) + " " + hex(length) + " " + hex(data)));
        }
    }
}

TEST_F(VideoHandlers, SendEightBytesForACountOfZero)
{
    for (const auto &each : ARRAYS) {
        SCOPED_TRACE(each.request);
        for (const bool null_data : {false, true}) {
            host_gives({0}, {}, null_data);
            EXPECT_EQ(ask(each.handler, each.request), 0);
            EXPECT_EQ(phone.received(), frame_around(std::string(each.reply) + " 00 00 00 00"));
        }
        host_gives({}, bytes("01 02 03 04")); /* the host leaves the count alone */
        EXPECT_EQ(ask(each.handler, each.request), 0);
        EXPECT_EQ(phone.received(), frame_around(std::string(each.reply) + " 00 00 00 00"));
    }
}

TEST_F(VideoHandlers, SendTheEmptyReplyForACountWithoutData)
{
    for (const auto &each : ARRAYS) {
        for (const uint32_t count : {1u, 2u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(each.request) + ": " + std::to_string(count));
            host_gives({count}, {}, true);
            EXPECT_EQ(ask(each.handler, each.request), -1);
            EXPECT_EQ(host.calls().size(), 1u);
            EXPECT_EQ(phone.received(), frame_around(each.empty));
        }
    }
}

/* Among them are counts whose bytes, counted with 32 bits, would be few. */
TEST_F(VideoHandlers, SendTheEmptyReplyForMoreThanAFrameCanHold)
{
    for (const auto &each : ARRAYS) {
        for (const uint64_t size : {0x7FFFFFB0ull, 0x7FFFFF00ull, 0x80000000ull, 0x100000000ull,
                                    0x100000100ull, 0x100000000ull * (each.size - 1)}) {
            const uint32_t count = static_cast<uint32_t>((size + each.size - 1) / each.size);
            SCOPED_TRACE(std::string(each.request) + ": " + std::to_string(count));
            if (uint64_t{count} * each.size + 80 <= INT32_MAX) {
                continue; /* would fit, and be read */
            }
            host_gives({count}, Bytes(each.size, 'd'));
            EXPECT_EQ(ask(each.handler, each.request), -1);
            EXPECT_EQ(phone.received(), frame_around(each.empty));
        }
        host_gives({0xFFFFFFFF}, Bytes(each.size, 'd'));
        EXPECT_EQ(ask(each.handler, each.request), -1);
        EXPECT_EQ(phone.received(), frame_around(each.empty));
    }
}

/* ---- Three texts without tags between them */

std::string starting(const std::string &lengths, size_t a, size_t b, size_t c)
{
    return "01 20 40 EE EE " + lengths + " " + characters(a, 'a') + " " + characters(b, 'b') + " " +
           characters(c, 'c');
}

TEST_F(VideoHandlers, StartplayerTakesTextsOfEveryLength)
{
    const struct {
        const char *lengths;
        size_t a, b, c;
    } cases[] = {{"FF FF 01 00 02 00", 65535, 1, 2},
                 {"01 00 FF FF 02 00", 1, 65535, 2},
                 {"01 00 02 00 FF FF", 1, 2, 65535},
                 {"FF FF FF FF FF FF", 65535, 65535, 65535},
                 {"00 00 01 00 00 00", 0, 1, 0}};
    for (const auto &each : cases) {
        SCOPED_TRACE(each.lengths);
        EXPECT_EQ(ask(handle_get_startplayer, starting(each.lengths, each.a, each.b, each.c)), 0);
        EXPECT_EQ(host.calls(),
                  Lines{"get_startplayer \"" + std::string(each.a, 'a') + "\" \"" +
                        std::string(each.b, 'b') + "\" \"" + std::string(each.c, 'c') + "\""});
        EXPECT_EQ(phone.received(), frame_around("06 01 20 40 06 00 00 00 00"));
    }
}

TEST_F(VideoHandlers, StartplayerRefusesTextsThatClaimMoreThanThereIs)
{
    const struct {
        const char *lengths;
        size_t a, b, c;
    } cases[] = {{"02 00 01 00 01 00", 1, 1, 1}, {"01 00 02 00 01 00", 1, 1, 1},
                 {"01 00 01 00 02 00", 1, 1, 1}, {"FF FF 00 00 00 00", 1, 1, 1},
                 {"00 00 FF FF FF FF", 0, 3, 0}, {"FF FF FF FF FF FF", 65535, 65535, 65534}};
    for (const auto &each : cases) {
        SCOPED_TRACE(each.lengths);
        EXPECT_EQ(ask(handle_get_startplayer, starting(each.lengths, each.a, each.b, each.c)), -1);
        EXPECT_TRUE(host.calls().empty());
        EXPECT_EQ(phone.received(), frame_around("06 01 20 40"));
    }
}

/* ---- Voice */

TEST_F(VideoHandlers, VoiceIsAnsweredOnlyWhenTheHostRefusesIt)
{
    for (const int result : {0, 1, 300, INT32_MAX}) {
        host_answers(result, "");
        EXPECT_EQ(ask(tv_get, "05 01 1F 40 01 08 02 00 'hi'"), 0);
        EXPECT_EQ(host.calls(), Lines{"tv_sendvoice \"hi\" 2"});
        EXPECT_EQ(phone.received(), "") << result;
    }
    for (const int result : {-1, -300, INT32_MIN}) {
        host_answers(result, "");
        EXPECT_EQ(ask(tv_get, "05 01 1F 40 01 08 02 00 'hi'"), 0);
        EXPECT_EQ(phone.received(), frame_around("06 01 1F 40")) << result;
    }
}

/* ---- The typed setter */

std::string typed(unsigned tag)
{
    return "34 12 EE EE " + hex(Bytes{static_cast<uint8_t>(tag)}) +
           " EE 02 00 'AB' 05 06 07 08 09 0A 0B 0C";
}

std::string typed_call(unsigned tag)
{
    const std::string start = "set_tv_vod " + std::to_string(tag);
    if (tag == 7 || tag == 8) {
        return start + " 0 0 0 \"AB\" 2";
    }
    if (tag == 18) {
        return start + " 0 1111556098 134678021 null 0"; /* 0x42410002 and 0x08070605 */
    }
    if ((tag >= 1 && tag <= 9) || tag == 32) {
        return start + " 1111556098 0 0 null 0";
    }
    return "";
}

TEST_F(VideoHandlers, TypedSetterKnowsTheseTagsAndIsSilentForOthers)
{
    for (unsigned tag = 0; tag <= 0xFF; tag++) {
        SCOPED_TRACE(tag);
        const std::string call = typed_call(tag);
        const bool known = !call.empty();
        EXPECT_EQ(ask(handle_set_tv_vod, typed(tag)), known ? 0 : -1);
        EXPECT_EQ(host.calls(), known ? Lines{call} : Lines());
        EXPECT_EQ(phone.received(), known ? frame_around("08 34 12 00") : "");
        EXPECT_TRUE(lines.all().empty());
    }
}

TEST_F(VideoHandlers, TypedSetterIsSilentForAnUnknownTagAlsoAtTheEndOfTheRequest)
{
    for (const char *tag : {"00", "0A", "11", "13", "1F", "21", "FF"}) {
        EXPECT_EQ(ask(handle_set_tv_vod, std::string("34 12 EE EE ") + tag), -1);
        EXPECT_EQ(phone.received(), "") << tag;
    }
    EXPECT_EQ(ask(handle_set_tv_vod, "34 12 EE EE 01"), -1);
    EXPECT_EQ(phone.received(), frame_around("08 34 12 FF"));
}

TEST_F(VideoHandlers, TypedSetterIsSilentForAnUnknownTagAlsoWithoutATable)
{
    host.withdraw();
    EXPECT_EQ(ask(handle_set_tv_vod, "34 12 EE EE 0A EE 04 03 02 01"), -1);
    EXPECT_EQ(phone.received(), "");
}

/* ---- Dumps of replies */

std::string dump_of(const char *name, const std::string &reply)
{
    std::string line = std::string(name) + ": ";
    for (const uint8_t byte : bytes(reply)) {
        char item[6];
        std::snprintf(item, sizeof item, "0x%02x ", byte);
        line += item;
    }
    return line + "\n";
}

class ReplyDumps : public VideoHandlers
{
protected:
    ReplyDumps()
    {
        ipp_set_log_dumps(1);
    }

    ~ReplyDumps() override
    {
        ipp_set_log_dumps(0);
    }
};

TEST_F(ReplyDumps, HoldFiftyBytesUnderTheseNames)
{
    const std::string text = characters(44);
    host_gives({}, Bytes(100, 'x'));
    EXPECT_EQ(ask(handle_get_tv_vodstr, "01 0E 20 EE EE 07"), 0);
    EXPECT_EQ(lines.out(), Lines{dump_of("handle_get_tv_vodstr", "01 0E 20 08 64 00" + text)});
    lines.clear();
    EXPECT_EQ(ask(handle_get_tv_vodstr2, "01 18 40 EE EE 07 EE 00 00"), 0);
    EXPECT_EQ(lines.out(), Lines{dump_of("handle_get_tv_vodstr", "01 18 40 08 64 00" + text)});
    lines.clear();

    const std::string integers = characters(42);
    host_gives({25}, Bytes(100, 'x'));
    EXPECT_EQ(ask(handle_get_tv_vodintarray, "01 10 20"), 0);
    EXPECT_EQ(lines.out(),
              Lines{dump_of("handle_get_tv_vodintarray", "01 10 20 0C 64 00 00 00" + integers)});
    lines.clear();
    EXPECT_EQ(ask(handle_get_tv_vodintarray2, "01 1C 40 EE EE 00 00"), 0);
    EXPECT_EQ(lines.out(),
              Lines{dump_of("handle_get_tv_vodintarray", "01 1C 40 0C 64 00 00 00" + integers)});
    lines.clear();

    host_answers(1, std::string(280, 'x'), false);
    EXPECT_EQ(ask(handle_get_tv_vodstatus, "01 0F 20"), 0);
    EXPECT_EQ(lines.out(),
              Lines{dump_of("handle_get_tv_vodstatus", "01 0F 20 A4 18 01 00 00" + integers)});
    lines.clear();
    EXPECT_EQ(ask(handle_get_tv_vodstatus2, "01 21 40 EE 00 00"), 0);
    EXPECT_EQ(lines.out(),
              Lines{dump_of("handle_get_tv_vodstatus", "01 0F 20 A4 18 01 00 00" + integers)});
}

TEST_F(ReplyDumps, AreFilledUpWithZeros)
{
    host_gives({}, bytes("'ab'"));
    EXPECT_EQ(ask(handle_get_tv_vodstr2, "01 18 40 EE EE 07 EE 00 00"), 0);
    EXPECT_EQ(lines.out(),
              Lines{dump_of("handle_get_tv_vodstr", "01 18 40 08 02 00 'ab' " + hex(Bytes(42)))});
    EXPECT_EQ(phone.received(), frame_around("06 01 18 40 08 02 00 'ab'"));
    lines.clear();
    host_gives({0}, {}, true);
    EXPECT_EQ(ask(handle_get_tv_vodintarray, "01 10 20"), 0);
    EXPECT_EQ(lines.out(), Lines{dump_of("handle_get_tv_vodintarray",
                                         "01 10 20 0C 00 00 00 00 " + hex(Bytes(42)))});
    EXPECT_EQ(phone.received(), frame_around("06 01 10 20 0C 00 00 00 00"));
}

TEST_F(ReplyDumps, AreTakenOfNothingElse)
{
    host_answers(1, "text");
    ask(tv_get, "05 01 02 40 00");
    ask(tv_get, "05 01 24 40 00");
    ask(tv_get, "05 01 18 20 00");
    ask(tv_get, "05 01 0B 40 01 00 00 00 00");
    ask(tv_get, "05 01 01 15 00");
    ask(tv_get, "05 01 11 20 00");
    ask(tv_set, "07 08 40 00 00 00 00 00 00 00 00 00");
    host_gives({}, {}, true); /* empty replies */
    ask(tv_get, "05 01 0E 20 01 02 00");
    host_answers(0, "");
    ask(tv_get, "05 01 0F 20 00");
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ReplyDumps, AreThereBeforeThePhoneHasTheReply)
{
    host_gives({}, Bytes(100, 'x'));
    size_t before_frame = 0;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        before_frame = lines.out().size();
        return system_send.real(fd, data, size, flags);
    });
    EXPECT_EQ(ask(handle_get_tv_vodstr, "01 0E 20 EE EE 07"), 0);
    EXPECT_EQ(before_frame, 1u);
}

TEST_F(VideoHandlers, PrintNothing)
{
    host_answers(1, "text");
    EXPECT_EQ(ask(handle_get_tv_metadata, "01 03 40 EE EE 07 EE 00 00 00 00"), 0);
    EXPECT_EQ(ask(handle_get_tv_vodstatus, "01 0F 20"), 0);
    EXPECT_EQ(ask(handle_get_tv_vodstr, "01 0E 20 EE EE 07"), 0);
    EXPECT_TRUE(lines.all().empty());
}

} // namespace
