/* SPDX-License-Identifier: MIT */
#include "methods/replies.h"

#include "support/asked_television.h"
#include "support/system_calls.h"

#include <cerrno>

namespace
{

class BuiltReply : public AskedTelevision
{
protected:
    std::string sent(PayloadBuilder *reply)
    {
        EXPECT_EQ(reply_payload(phone.record(), reply, FRAME_GET_REPLY), 0);
        return phone.received();
    }

    RequestReader request_of(const char *request, bool failed, uint16_t own_code = 0)
    {
        given = bytes(request);
        RequestReader r =
            set_request(given.data(), static_cast<int32_t>(given.size()), 2, own_code);
        r.failed = r.failed || failed;
        return r;
    }
};

/* One whole frame, byte for byte: what frame_around() stands for in all other tests. */
TEST_F(BuiltReply, WrapsAReplyInAFrame)
{
    PayloadBuilder reply = payload_begin_value(0x0B01, TAG_STRING, 4);
    put_text(&reply, "KV");
    EXPECT_EQ(sent(&reply), "A5 A5 A5 50 00 00 00"                             /* length 80 */
                            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00" /* 43 zeros */
                            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00" /**/
                            " 00 00 00 00 00 00 00 00 00 00 00"                /**/
                            " 06 01 01 0B 08 02 00 4B 56"                      /* the body */
                            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                            " FD"); /* the low 8 bits of the sum */
}

TEST_F(BuiltReply, PutsLittleEndianValuesOneAfterAnother)
{
    PayloadBuilder reply = payload_begin(14);
    put_u8(&reply, 0xFE);
    put_u16(&reply, 0x1234);
    put_u32(&reply, 0x56789ABC);
    put_attribute(&reply, 0x0B03, TAG_U32);
    put_bytes(&reply, "abcd", 4);
    EXPECT_EQ(sent(&reply), frame_around("06 FE 34 12 BC 9A 78 56 03 0B 06 'abcd'"));
}

TEST_F(BuiltReply, OpensAReplyOfOneValue)
{
    PayloadBuilder reply = payload_begin_value(0x1503, TAG_U32, 4);
    put_u32(&reply, 600);
    EXPECT_EQ(sent(&reply), frame_around("06 01 03 15 06 58 02 00 00"));
}

TEST_F(BuiltReply, LeavesZerosWhereNothingIsPut)
{
    PayloadBuilder reply = payload_begin(6);
    put_u8(&reply, 1);
    put_bytes(&reply, nullptr, 3);
    put_u8(&reply, 2);
    EXPECT_EQ(sent(&reply), frame_around("06 01 00 00 00 02 00"));
}

TEST_F(BuiltReply, DropsWhatDoesNotFit)
{
    PayloadBuilder reply = payload_begin(3);
    put_u32(&reply, 0xFFFFFFFF);
    put_bytes(&reply, "abcdefgh", 8);
    put_u8(&reply, 0x12);
    put_bytes(&reply, "abcdefgh", UINT32_MAX);
    put_u32(&reply, 0xFFFFFFFF);
    put_u16(&reply, 0x5634);
    put_u16(&reply, 0xFFFF);
    put_u8(&reply, 0xFF);
    EXPECT_EQ(sent(&reply), frame_around("06 12 34 56"));
}

TEST_F(BuiltReply, PutsTextsBehindTheirLengths)
{
    PayloadBuilder reply = payload_begin(text_size("hello") + text_size(""));
    put_text(&reply, "hello");
    put_text(&reply, "");
    EXPECT_EQ(sent(&reply), frame_around("06 05 00 'hello' 00 00"));
}

TEST_F(BuiltReply, CutsTextsAtWhatTheirLengthCanSay)
{
    const std::string longest(65535, 'x');
    RequestReader asked = unread_request(0x200E);
    EXPECT_EQ(text_size(longest.c_str()), 65537u);
    EXPECT_EQ(reply_text(phone.record(), &asked, longest.c_str()), 0);
    const std::string expected = frame_around("06 01 0E 20 08 FF FF " + characters(65535));
    EXPECT_TRUE(phone.received() == expected);

    const std::string longer = longest + "yyy";
    EXPECT_EQ(text_size(longer.c_str()), 65537u);
    EXPECT_EQ(reply_text(phone.record(), &asked, longer.c_str()), 0);
    EXPECT_TRUE(phone.received() == expected);
}

TEST_F(BuiltReply, SendsInAFrameOfAnotherType)
{
    PayloadBuilder reply = payload_begin(1);
    put_u8(&reply, 7);
    EXPECT_EQ(reply_payload(phone.record(), &reply, 0x22), 0);
    EXPECT_EQ(phone.received(), frame_around("22 07"));
}

TEST_F(BuiltReply, IsEmptyOnceItIsSent)
{
    PayloadBuilder reply = payload_begin(1);
    EXPECT_EQ(reply_payload(phone.record(), &reply, FRAME_GET_REPLY), 0);
    EXPECT_EQ(reply.bytes, nullptr);
    phone.received();
    EXPECT_EQ(reply_payload(phone.record(), &reply, FRAME_GET_REPLY), -1);
    EXPECT_EQ(phone.received(), "");
}

TEST_F(BuiltReply, MakesNoReplyThatNoFrameCanHold)
{
    for (const uint64_t size : {uint64_t{INT32_MAX} - 71, uint64_t{INT32_MAX}, uint64_t{UINT32_MAX},
                                uint64_t{UINT32_MAX} + 2, UINT64_MAX}) {
        PayloadBuilder reply = payload_begin(size);
        RequestReader asked = unread_request(0x2007);
        EXPECT_EQ(reply.bytes, nullptr) << size;
        put_u8(&reply, 1);
        put_u32(&reply, 1);
        put_text(&reply, "hello");
        EXPECT_EQ(reply_payload(phone.record(), &reply, FRAME_GET_REPLY), -1) << size;
        EXPECT_EQ(phone.received(), "") << size;
        EXPECT_EQ(reply_payload_or_empty(phone.record(), &asked, &reply), -1) << size;
        EXPECT_EQ(phone.received(), frame_around("06 01 07 20")) << size;
    }
}

TEST_F(BuiltReply, SendsTheEmptyReplyWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    RequestReader asked = unread_request(0x0B01);
    EXPECT_EQ(reply_text(phone.record(), &asked, "KV"), -1);
    EXPECT_EQ(phone.received(), frame_around("06 01 01 0B"));
}

TEST_F(BuiltReply, SendsTheEmptyReplyToARequestThatHadACode)
{
    RequestReader with_code = request_of("07 20", false);
    EXPECT_EQ(reply_empty(phone.record(), &with_code), -1);
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20"));

    RequestReader without = request_of("07", false);
    EXPECT_EQ(reply_empty(phone.record(), &without), -1);
    EXPECT_EQ(phone.received(), "");
}

TEST_F(BuiltReply, SendsTheLowEightBitsOfAResult)
{
    RequestReader request = request_of("09 01", false);
    const struct {
        int result;
        const char *body;
    } cases[] = {{-1, "08 09 01 FF"},  {-2, "08 09 01 FE"},       {0, "08 09 01 00"},
                 {1, "08 09 01 01"},   {127, "08 09 01 7F"},      {-128, "08 09 01 80"},
                 {256, "08 09 01 00"}, {300, "08 09 01 2C"},      {INT32_MAX, "08 09 01 FF"},
                 {255, "08 09 01 FF"}, {INT32_MIN, "08 09 01 00"}};
    for (const auto &each : cases) {
        EXPECT_EQ(reply_result(phone.record(), &request, each.result), 0);
        EXPECT_EQ(phone.received(), frame_around(each.body)) << each.result;
    }
}

TEST_F(BuiltReply, SendsAFailureForABadRequestWhateverTheResult)
{
    RequestReader request = request_of("09 01", true);
    EXPECT_EQ(reply_result(phone.record(), &request, 0), -1);
    EXPECT_EQ(phone.received(), frame_around("08 09 01 FF"));
    EXPECT_EQ(reply_zero(phone.record(), &request), -1);
    EXPECT_EQ(phone.received(), frame_around("08 09 01 00"));
    RequestReader renamed = request_of("09 01", true, 0x3001);
    EXPECT_EQ(reply_result(phone.record(), &renamed, 0), -1);
    EXPECT_EQ(phone.received(), frame_around("08 01 30 FF"));
}

TEST_F(BuiltReply, SendsAResultWithACodeOfItsOwn)
{
    RequestReader renamed = request_of("09 01", false, 0x3001);
    EXPECT_EQ(reply_result(phone.record(), &renamed, -1), 0);
    EXPECT_EQ(phone.received(), frame_around("08 01 30 FF"));
}

TEST_F(BuiltReply, SendsNothingToARequestWithoutACode)
{
    RequestReader request = request_of("09", false, 0x3001);
    EXPECT_EQ(reply_result(phone.record(), &request, 1), -1);
    EXPECT_EQ(reply_zero(phone.record(), &request), -1);
    EXPECT_EQ(reply_empty(phone.record(), &request), -1);
    EXPECT_EQ(reply_empty_list(phone.record(), &request, TAG_GUIDE_LIST), -1);
    EXPECT_EQ(phone.received(), "");
}

TEST_F(BuiltReply, ReleasesTheCopiesOfTheRequest)
{
    const auto copies_after = [this](auto &&end) {
        RequestReader request = request_of("09 01 01 00 'a'", false);
        read_text(&request);
        EXPECT_EQ(request.copy_count, 1);
        end(&request);
        phone.received();
        return request.copy_count;
    };
    EXPECT_EQ(copies_after([](RequestReader *r) { reply_nothing(r); }), 0);
    EXPECT_EQ(copies_after([](RequestReader *r) { reply_silence(r); }), 0);
    EXPECT_EQ(copies_after([&](RequestReader *r) { reply_result(phone.record(), r, 0); }), 0);
    EXPECT_EQ(copies_after([&](RequestReader *r) { reply_u32(phone.record(), r, 0); }), 0);
    EXPECT_EQ(copies_after([&](RequestReader *r) { reply_text(phone.record(), r, ""); }), 0);
    EXPECT_EQ(copies_after([&](RequestReader *r) { reply_empty(phone.record(), r); }), 0);
}

TEST_F(BuiltReply, IsNotHinderedByAPhoneThatHasGone)
{
    phone.hang_up();
    PayloadBuilder reply = payload_begin(1);
    EXPECT_EQ(reply_payload(phone.record(), &reply, FRAME_GET_REPLY), 0);
    RequestReader request = request_of("09 01", false);
    EXPECT_EQ(reply_result(phone.record(), &request, 1), 0);
    EXPECT_EQ(reply_empty(phone.record(), &request), -1);
}

} // namespace
