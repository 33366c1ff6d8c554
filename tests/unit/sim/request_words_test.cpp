/* SPDX-License-Identifier: MIT */
#include "request_words.h"

#include "support/wire.h"

#include <gtest/gtest.h>

namespace
{

IppRequest request_with(uint8_t type, uint16_t code, int reason, int replied)
{
    IppRequest request = {};
    request.type = type;
    request.has_code = 1;
    request.code = code;
    request.reason = reason;
    request.replied = replied;
    return request;
}

TEST(RequestWords, NameTheOperation)
{
    EXPECT_EQ(sim::request_words(request_with(0x05, 0x2000, 0, 1), {}), "get 0x2000 get_tv_epg");
    EXPECT_EQ(sim::request_words(request_with(0x07, 0x0102, 0, 1), {}),
              "set 0x0102 set_tv_channel");
    EXPECT_EQ(sim::request_words(request_with(0x07, 0x0103, IPP_REASON_NO_ROUTE, 0), {}),
              "set 0x0103");
    EXPECT_EQ(sim::request_words(request_with(0x21, 0x5004, 0, 1), {}), "rpc 0x5004 methodString");
}

TEST(RequestWords, NameWhatHasNoCodeByItsBytes)
{
    IppRequest request = {};
    request.type = 0x05;
    EXPECT_EQ(sim::request_words(request, bytes("05 00")), "get get_device_info");
    EXPECT_EQ(sim::request_words(request, bytes("05 07")), "get");
    EXPECT_EQ(sim::request_words(request, {}), "get");
}

TEST(RequestWords, SayWhatBecameOfARequest)
{
    IppRequest request = request_with(0x07, 0x0101, IPP_REASON_NONE, 1);
    request.result = 0xFF;
    EXPECT_EQ(sim::outcome_words(request, {}), "answered, result -1");
    request.type = 0x05;
    request.result = -1;
    EXPECT_EQ(sim::outcome_words(request, {}), "answered, empty");
    request.replied = 0;
    EXPECT_EQ(sim::outcome_words(request, {}), "carried out, silence");
    request.reason = IPP_REASON_BAD_CHECKSUM;
    EXPECT_EQ(sim::outcome_words(request, {}),
              "a wrong checksum, carried out, silence all the same");
    request.reason = IPP_REASON_NO_SLOT;
    EXPECT_EQ(sim::outcome_words(request, {}), "the host has no such slot, silence");
    request.reason = IPP_REASON_STOPPED;
    EXPECT_EQ(sim::outcome_words(request, {}), "the service has stopped, silence");
}

/* Without its bytes a request is described by the library's words alone. */
TEST(RequestWords, DoWithoutTheBytes)
{
    EXPECT_EQ(sim::refusal_words(request_with(0x07, 0x0112, IPP_REASON_TEXT_TOO_LONG, 1), {}),
              "a text is too long");
    EXPECT_EQ(sim::refusal_words(request_with(0x05, 0, IPP_REASON_UNKNOWN_KIND, 0), {}),
              "not a kind of get request");
}

/* The table may know less than the library: its fault is shown only when both agree. */
TEST(RequestWords, SayNoOtherFaultThanTheLibrarys)
{
    EXPECT_EQ(sim::refusal_words(request_with(0x07, 0x0109, IPP_REASON_WRONG_TAG, 1),
                                 bytes("07 09 01 02 05 8B")),
              "a wrong value tag");
    EXPECT_EQ(sim::refusal_words(request_with(0x07, 0x0109, IPP_REASON_TOO_SHORT, 1),
                                 bytes("07 09 01 02 05 8B")),
              "key lacks 3 of 4 bytes");
}

TEST(RequestWords, ShowTheArgumentsThatAreThere)
{
    const auto arguments = [](uint8_t type, uint16_t code, const char *body) {
        return sim::argument_words(request_with(type, code, 0, 1), bytes(body));
    };
    EXPECT_EQ(arguments(0x07, 0x0112, "07 12 01 02 08 02 00 'ab' 08 01 00 1B"),
              "count 2, tag 0x08, first text \"ab\", tag 0x08, second text \"\\x1b\"");
    EXPECT_EQ(arguments(0x07, 0x0109, "07 09 01 02 05 FF FF FF FF 05 01"),
              "count 2, tag 0x05, key 4294967295, tag 0x05");
    EXPECT_EQ(arguments(0x05, 0x4020, "05 01 20 40 01 08 01 00 02 00 00 00 'abb'"),
              "count 1, tag 0x08, first text \"a\", second text \"bb\", third text \"\"");
    EXPECT_EQ(arguments(0x05, 0x401F, "05 01 1F 40 01 0C 02 00 'xy'"),
              "count 1, tag 0x0C, data of 2 bytes");
    EXPECT_EQ(arguments(0x05, 0x7777, "05 01 77 77 01 02"), "");
    EXPECT_EQ(arguments(0x07, 0x0109, "07"), "");
}

} // namespace
