/* SPDX-License-Identifier: MIT */
#include "../controlpoint/cp_test_bytes.h"
#include "arguments.h"
#include "failure.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace
{

using namespace cp_test;

void expect_usage_failure(const std::function<void()> &call, const std::string &what)
{
    try {
        call();
        ADD_FAILURE() << "\"" << what << "\" was understood";
    } catch (const ctl::Failure &failure) {
        EXPECT_EQ(failure.status, ctl::STATUS_USAGE);
        EXPECT_FALSE(failure.hint.empty());
    }
}

/* What a typed argument puts on the wire. */
Bytes wire_of(const std::string &text)
{
    const ctl::Argument argument = ctl::parse_argument(text);
    const CpValue value = ctl::value_of(argument);
    Built request;
    EXPECT_EQ(cp_build_rpc(&request.buffer, 0, &value, 1), CP_OK);
    const Bytes whole = request.bytes();
    return {whole.begin() + 2, whole.end()};
}

TEST(CtlArguments, AreDecimalOrHexadecimalNumbers)
{
    EXPECT_EQ(ctl::parse_code("0"), 0);
    EXPECT_EQ(ctl::parse_code("274"), 0x0112);
    EXPECT_EQ(ctl::parse_code("0x0112"), 0x0112);
    EXPECT_EQ(ctl::parse_code("0XfFfF"), 0xFFFF);
    EXPECT_EQ(ctl::parse_number("4294967295", UINT32_MAX), 0xFFFFFFFF);
    EXPECT_EQ(ctl::parse_number("007", 255), 7U);
}

TEST(CtlArguments, AreRefusedWhenTheyAreNoNumbersOrTooLarge)
{
    for (const char *text : {"", "0x", "x", "-1", "+1", " 1", "1 ", "0x1g", "1.5", "12a", "65536",
                             "0x10000", "99999999999999999999999"}) {
        expect_usage_failure([=] { ctl::parse_code(text); }, text);
    }
}

TEST(CtlArguments, AreStepsWithASign)
{
    EXPECT_EQ(ctl::parse_step("+1"), 1);
    EXPECT_EQ(ctl::parse_step("-3"), -3);
    EXPECT_EQ(ctl::parse_step("+255"), 255);
    EXPECT_EQ(ctl::parse_step("-255"), -255);
    EXPECT_EQ(ctl::parse_step("-0"), 0);
    for (const char *text : {"", "+", "-", "3", "+256", "-256", "--3", "+-3", "+x"}) {
        expect_usage_failure([=] { ctl::parse_step(text); }, text);
    }
}

TEST(CtlArguments, AreKeysByNameOrNumber)
{
    EXPECT_EQ(ctl::parse_key("ok"), 28U);
    EXPECT_EQ(ctl::parse_key("power"), 116U);
    EXPECT_EQ(ctl::parse_key("1"), 2U);
    EXPECT_EQ(ctl::parse_key("0"), 11U);
    EXPECT_EQ(ctl::parse_key("0x1"), 1U);
    EXPECT_EQ(ctl::parse_key("10"), 10U);
    EXPECT_EQ(ctl::parse_key("4294967295"), 0xFFFFFFFF);
    for (const char *text : {"", "OK!", "-1", "4294967296"}) {
        expect_usage_failure([=] { ctl::parse_key(text); }, text);
    }
}

TEST(CtlArguments, BecomeTaggedValues)
{
    EXPECT_EQ(wire_of("u8:5"), (Bytes{0x02, 5}));
    EXPECT_EQ(wire_of("u8:0xff"), (Bytes{0x02, 255}));
    EXPECT_EQ(wire_of("u16:7"), (Bytes{0x03, 7, 0}));
    EXPECT_EQ(wire_of("port:8801"), (Bytes{0x04, 0x61, 0x22}));
    EXPECT_EQ(wire_of("u32:0x10"), (Bytes{0x06, 0x10, 0, 0, 0}));
    EXPECT_EQ(wire_of("i32:-3"), (Bytes{0x05, 0xFD, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(wire_of("i32:-2147483648"), (Bytes{0x05, 0, 0, 0, 0x80}));
    EXPECT_EQ(wire_of("i32:2147483647"), (Bytes{0x05, 0xFF, 0xFF, 0xFF, 0x7F}));
    EXPECT_EQ(wire_of("f32:1.5"), (Bytes{0x06, 0, 0, 0xC0, 0x3F}));
    EXPECT_EQ(wire_of("f32:-inf"), (Bytes{0x06, 0, 0, 0x80, 0xFF}));
    EXPECT_EQ(wire_of("str:"), (Bytes{0x08, 0, 0}));
    EXPECT_EQ(wire_of("str:a:b"), (Bytes{0x08, 3, 0, 'a', ':', 'b'}));
    EXPECT_EQ(wire_of("blob:0A0b"), (Bytes{0x0C, 2, 0, 0, 0, 0x0A, 0x0B}));
    EXPECT_EQ(wire_of("point:1,2,0xffff"), (Bytes{0xA0, 1, 0, 2, 0, 0xFF, 0xFF}));
    EXPECT_EQ(wire_of("hex:aabb"), (Bytes{0xAA, 0xBB}));
    EXPECT_EQ(wire_of("hex:"), (Bytes{}));
}

TEST(CtlArguments, AreRefusedWhenTheirTypeOrValueIsNotUnderstood)
{
    for (const char *text : {"",
                             "5",
                             "u8",
                             "u8:",
                             "u8:256",
                             "u8:-1",
                             "u16:65536",
                             "port:65536",
                             "u32:4294967296",
                             "i32:2147483648",
                             "i32:-2147483649",
                             "i32:--1",
                             "f32:",
                             "f32:1.5x",
                             "blob:0",
                             "blob:0g",
                             "hex:a",
                             "point:1,2",
                             "point:1,2,3,4",
                             "point:1,,3",
                             "point:1,2,65536",
                             "u9:1",
                             "U8:1"}) {
        expect_usage_failure([=] { ctl::parse_argument(text); }, text);
    }
}

} // namespace
