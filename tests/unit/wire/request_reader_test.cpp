#include "wire/request_reader.h"

#include "support/asked_television.h"

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
        const RequestReader fresh = {request.data(), static_cast<uint32_t>(size), 0, 0, true,
                                     false};
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
    EXPECT_EQ(read_text(&r).bytes, nullptr);
    EXPECT_EQ(read_text_copy(&r).chars, nullptr);
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

TEST(RequestReader, LendsATextThatStandsInTheRequest)
{
    const Bytes request = bytes("EE 03 00 'abc' 07");
    RequestReader r = reader_of(request, 1);
    const RequestText text = read_text(&r);
    EXPECT_EQ(text.bytes, request.data() + 3);
    EXPECT_EQ(text.length, 3);
    EXPECT_EQ(read_u8(&r), 7);
    EXPECT_FALSE(r.failed);
}

TEST(RequestReader, ReadsAnEmptyTextAtTheVeryEnd)
{
    const Bytes request = bytes("EE 00 00");
    RequestReader r = reader_of(request, 1);
    EXPECT_EQ(read_text(&r).length, 0);
    EXPECT_FALSE(r.failed);
}

TEST(RequestReader, RefusesATextThatClaimsMoreThanThereIs)
{
    for (const char *request :
         {"EE EE 04 00 'abc'", "EE EE FF FF 'abc'", "EE EE 01 00", "EE EE 01"}) {
        const Bytes wire = bytes(request);
        RequestReader r = reader_of(wire, 2);
        const RequestText text = read_text(&r);
        EXPECT_EQ(text.bytes, nullptr) << request;
        EXPECT_EQ(text.length, 0) << request;
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
    const HeapText text = read_text_copy(&r);
    ASSERT_NE(text.chars, nullptr);
    EXPECT_EQ(text.length, 3);
    EXPECT_EQ(quoted(text.chars, 5), "\"abc\\x00\\x00\"");
    EXPECT_FALSE(r.failed);
    EXPECT_EQ(read_u16(&r), 0xFFFF);
    free(text.chars);
}

TEST(RequestReader, CopiesEveryLengthThatSixteenBitsCanSay)
{
    for (const size_t size : {size_t{0}, size_t{1}, size_t{65535}}) {
        Bytes request = {0xEE, 0xEE, static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8)};
        request.resize(4 + size, 'x');
        RequestReader r = reader_of(request, 2);
        const HeapText text = read_text_copy(&r);
        ASSERT_NE(text.chars, nullptr);
        EXPECT_EQ(text.length, size);
        EXPECT_EQ(std::string(text.chars), std::string(size, 'x'));
        free(text.chars);
    }
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
