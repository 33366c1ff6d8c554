/* SPDX-License-Identifier: MIT */
#include "wire/request_reader.h"

#include "support/asked_television.h"
#include "support/system_calls.h"

#include <cerrno>

namespace
{

RequestReader reader_of(const Bytes &request, uint32_t first = 0)
{
    return set_request(request.data(), static_cast<int32_t>(request.size()), first);
}

TEST(RequestReader, TakesTheCodeOfASetRequestFromItsStart)
{
    const Bytes request = bytes("34 12 AA");
    const RequestReader r = set_request(request.data(), 3, 2);
    EXPECT_EQ(r.code, 0x1234);
    EXPECT_TRUE(r.has_code);
    EXPECT_FALSE(r.failed);
}

TEST(RequestReader, TakesTheCodeOfAGetRequestFromBehindTheCallKind)
{
    const Bytes request = bytes("01 34 12");
    const RequestReader r = get_request(request.data(), 3, 3);
    EXPECT_EQ(r.code, 0x1234);
    EXPECT_TRUE(r.has_code);
    EXPECT_FALSE(r.failed);
}

TEST(RequestReader, HasNoCodeAndFailsWhenTheRequestEndsBefore)
{
    const Bytes request = bytes("01 34 12");
    for (int32_t size = 0; size < 2; size++) {
        const RequestReader r = set_request(request.data(), size, 2);
        EXPECT_FALSE(r.has_code) << size;
        EXPECT_TRUE(r.failed) << size;
    }
    for (int32_t size = 0; size < 3; size++) {
        const RequestReader r = get_request(request.data(), size, 3);
        EXPECT_FALSE(r.has_code) << size;
        EXPECT_TRUE(r.failed) << size;
    }
}

TEST(RequestReader, TakesNothingAndNegativeLengthsForEmpty)
{
    const Bytes request = bytes("34 12 AA");
    EXPECT_FALSE(set_request(nullptr, 3, 0).has_code);
    EXPECT_FALSE(set_request(request.data(), -1, 0).has_code);
    EXPECT_FALSE(get_request(request.data(), INT32_MIN, 0).has_code);
    EXPECT_TRUE(get_request(nullptr, 3, 0).failed);
}

TEST(RequestReader, FailsOnlyWhenSomethingIsReadBeyondTheEnd)
{
    const Bytes request = bytes("34 12");
    RequestReader r = reader_of(request, 100);
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u8(&r), 0);
    EXPECT_TRUE(r.failed);
}

TEST(RequestReader, ReadsLittleEndianValuesOneAfterAnother)
{
    const Bytes request = bytes("FE 02 01 84 83 82 81 00 00 20 C1");
    RequestReader r = reader_of(request);
    EXPECT_EQ(read_u8(&r), 0xFE);
    EXPECT_EQ(read_u16(&r), 0x0102);
    EXPECT_EQ(read_u32(&r), 0x81828384u);
    EXPECT_EQ(read_f32(&r), -10.0F);
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u8(&r), 0);
    EXPECT_TRUE(r.failed);
}

TEST(RequestReader, RefusesEveryTruncationOfAValue)
{
    const Bytes whole = bytes("12 34 56 78");
    for (size_t size = 0; size < 4; size++) {
        const Bytes request = first_bytes(whole, size);
        RequestReader fresh = {};
        fresh.bytes = request.data();
        fresh.size = static_cast<uint32_t>(size);
        RequestReader r = fresh;
        EXPECT_EQ(read_u32(&r), 0u);
        EXPECT_TRUE(r.failed);
        r = fresh;
        EXPECT_EQ(read_f32(&r), 0.0F);
        EXPECT_TRUE(r.failed);
        r = fresh;
        read_u16(&r);
        EXPECT_EQ(r.failed, size < 2);
        r = fresh;
        read_u8(&r);
        EXPECT_EQ(r.failed, size < 1);
    }
}

TEST(RequestReader, ReadsNothingMoreOnceItHasFailed)
{
    const Bytes request = bytes("01 02 03 04 05 06");
    RequestReader r = reader_of(request, 3);
    EXPECT_EQ(read_u32(&r), 0u);
    EXPECT_EQ(read_u8(&r), 0);
    EXPECT_EQ(read_u16(&r), 0);
    EXPECT_EQ(read_text(&r).chars, nullptr);
    EXPECT_EQ(read_bytes(&r, 1).chars, nullptr);
    EXPECT_EQ(r.copy_count, 0);
    EXPECT_TRUE(r.failed);
}

TEST(RequestReader, SkipsBytesThatNeedNotBeThere)
{
    const Bytes request = bytes("01 02 03");
    RequestReader r = reader_of(request);
    skip(&r, 2);
    EXPECT_EQ(read_u8(&r), 3);
    skip(&r, 5);
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u8(&r), 0);
    EXPECT_TRUE(r.failed);
}

TEST(RequestReader, DoesNotComeRoundToTheStartBySkipping)
{
    const Bytes request = bytes("01 02 03");
    RequestReader r = reader_of(request, 2);
    skip(&r, UINT32_MAX);
    EXPECT_TRUE(r.failed);
    r = reader_of(request, 2);
    skip(&r, UINT32_MAX - 2);
    EXPECT_FALSE(r.failed);
    skip(&r, 1);
    EXPECT_TRUE(r.failed);
    EXPECT_EQ(read_u8(&r), 0);
}

TEST(RequestReader, ReadsAnEmptyTextAtTheVeryEnd)
{
    const Bytes request = bytes("EE 00 00");
    RequestReader r = reader_of(request, 1);
    EXPECT_EQ(read_text(&r).length, 0u);
    EXPECT_FALSE(r.failed);
    request_release(&r);
}

TEST(RequestReader, RefusesATextThatClaimsMoreThanThereIs)
{
    for (const char *request :
         {"EE EE 04 00 'abc'", "EE EE FF FF 'abc'", "EE EE 01 00", "EE EE 01"}) {
        const Bytes wire = bytes(request);
        RequestReader r = reader_of(wire, 2);
        const HeapText text = read_text(&r);
        EXPECT_EQ(text.chars, nullptr) << request;
        EXPECT_EQ(text.length, 0u) << request;
        EXPECT_TRUE(r.failed) << request;
    }
}

/* A buffer of 4 bytes with one behind it that must stay. */
std::string read_into_four(const char *request, bool *failed, uint16_t *length)
{
    char buffer[5] = {'?', '?', '?', '?', '!'};
    const Bytes wire = bytes(request);
    RequestReader r = reader_of(wire, 2);
    *length = read_text_into(&r, buffer, 4);
    *failed = r.failed;
    return quoted(buffer, sizeof buffer);
}

TEST(RequestReader, FillsTheBufferOfATextUpWithZeros)
{
    bool failed = true;
    uint16_t length = 99;
    EXPECT_EQ(read_into_four("EE EE 03 00 'abc'", &failed, &length), "\"abc\\x00!\"");
    EXPECT_FALSE(failed);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(read_into_four("EE EE 01 00 'a'", &failed, &length), "\"a\\x00\\x00\\x00!\"");
    EXPECT_EQ(length, 1);
    EXPECT_EQ(read_into_four("EE EE 00 00", &failed, &length), "\"\\x00\\x00\\x00\\x00!\"");
    EXPECT_FALSE(failed);
    EXPECT_EQ(length, 0);
}

TEST(RequestReader, RefusesATextThatLeavesNoRoomForItsZero)
{
    for (const char *request :
         {"EE EE 04 00 'abcd'", "EE EE 05 00 'abcde'", "EE EE 02 00 'a'", "EE EE"}) {
        bool failed = false;
        uint16_t length = 99;
        EXPECT_EQ(read_into_four(request, &failed, &length), "\"\\x00\\x00\\x00\\x00!\"")
            << request;
        EXPECT_TRUE(failed) << request;
        EXPECT_EQ(length, 0) << request;
    }
}

TEST(RequestReader, CopiesATextWithTwoZerosBehindIt)
{
    const Bytes request = bytes("EE EE 03 00 'abc' FF FF");
    RequestReader r = reader_of(request, 2);
    const HeapText text = read_text(&r);
    ASSERT_NE(text.chars, nullptr);
    EXPECT_EQ(text.length, 3u);
    EXPECT_EQ(quoted(text.chars, 5), "\"abc\\x00\\x00\"");
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u16(&r), 0xFFFF);
    request_release(&r);
}

TEST(RequestReader, CopiesEveryLengthThatSixteenBitsCanSay)
{
    for (const size_t size : {size_t{0}, size_t{1}, size_t{65535}}) {
        Bytes request = {0xEE, 0xEE, static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8)};
        request.resize(4 + size, 'x');
        RequestReader r = reader_of(request, 2);
        const HeapText text = read_text(&r);
        ASSERT_NE(text.chars, nullptr);
        EXPECT_EQ(text.length, size);
        EXPECT_EQ(std::string(text.chars), std::string(size, 'x'));
        request_release(&r);
    }
}

TEST(RequestReader, OwnsTheCopiesOfUpToThreeTexts)
{
    const Bytes request = bytes("EE EE 01 00 'a' 01 00 'b' 'c' 01 00 'd'");
    RequestReader r = reader_of(request, 2);
    const HeapText first = read_text(&r);
    const HeapText second = read_text(&r);
    const HeapText third = read_bytes(&r, 1);
    EXPECT_EQ(std::string(first.chars) + second.chars + third.chars, "abc");
    EXPECT_EQ(read_text(&r).chars, nullptr);
    EXPECT_TRUE(r.failed);
    EXPECT_FALSE(r.out_of_memory);
    request_release(&r);
    EXPECT_EQ(r.copy_count, 0);
    request_release(&r);
}

TEST(RequestReader, GivesItsLatestCopyAway)
{
    const Bytes request = bytes("EE EE 01 00 'a' 01 00 'b'");
    RequestReader r = reader_of(request, 2);
    read_text(&r);
    const HeapText second = read_text(&r);
    char *given = give_copy(&r);
    EXPECT_EQ(given, second.chars);
    request_release(&r);
    EXPECT_STREQ(given, "b");
    free(given);
}

TEST(RequestReader, FailsForWantOfMemory)
{
    const Bytes request = bytes("EE EE 01 00 'a'");
    RequestReader r = reader_of(request, 2);
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(read_text(&r).chars, nullptr);
    EXPECT_TRUE(r.failed);
    EXPECT_TRUE(r.out_of_memory);
}

TEST(RequestReader, HasACodeOfTheHandlersOwn)
{
    const Bytes request = bytes("01 34 12");
    EXPECT_EQ(get_request(request.data(), 3, 3, 0x2018).code, 0x2018);
    EXPECT_TRUE(get_request(request.data(), 3, 3, 0x2018).has_code);
    EXPECT_FALSE(get_request(request.data(), 2, 3, 0x2018).has_code);
    EXPECT_EQ(set_request(request.data(), 3, 2, 0x3001).code, 0x3001);
    const RequestReader unread = unread_request(0x1501);
    EXPECT_EQ(unread.code, 0x1501);
    EXPECT_TRUE(unread.has_code);
    EXPECT_FALSE(unread.failed);
}

class RequestTag : public AskedTelevision
{
};

TEST_F(RequestTag, LooksAtOneByteAndStaysWhereItIs)
{
    const Bytes request = bytes("34 12 08 05");
    RequestReader r = reader_of(request, 3);
    check_tag(&r, {2, 0x08, "frame_data[2] == 0x08", 77}, "some_handler");
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u8(&r), 5);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(RequestTag, RefusesAMissingTagWithoutALine)
{
    const Bytes request = bytes("34 12");
    RequestReader r = reader_of(request, 3);
    check_tag(&r, {2, 0x08, "frame_data[2] == 0x08", 77}, "some_handler");
    EXPECT_TRUE(r.failed);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(RequestTag, TellsOfAWrongTagAndRefusesIt)
{
    refuse_bad_tags();
    const Bytes request = bytes("34 12 09");
    RequestReader r = reader_of(request, 3);
    check_tag(&r, {2, 0x08, "frame_data[2] == 0x08", 77}, "some_handler");
    EXPECT_TRUE(r.failed);
    EXPECT_EQ(lines.err(), Lines{assertion_line("77: some_handler", "frame_data[2] == 0x08")});
    EXPECT_TRUE(lines.out().empty());
}

} // namespace
