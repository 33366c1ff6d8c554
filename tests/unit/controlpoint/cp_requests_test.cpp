/* SPDX-License-Identifier: MIT */
#include "cp_test_bytes.h"

#include <gtest/gtest.h>

namespace
{

using namespace cp_test;

TEST(ControlPointRequests, AskForTheDeviceInformationWithASingleZero)
{
    Built request;
    ASSERT_EQ(cp_build_device_info(&request.buffer), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0}));
}

TEST(ControlPointRequests, OfTypeGetCarryKindCodeAndCount)
{
    Built request;
    ASSERT_EQ(cp_build_get(&request.buffer, CP_CODE_NAME, nullptr, 0), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{1, 0x01, 0x0B, 0}));
}

TEST(ControlPointRequests, OfTypeGetPutTheFirstTagAtIndex4AndItsValueAtIndex5)
{
    const CpValue selector = cp_number(CP_TAG_U8, 7);
    Built request;
    ASSERT_EQ(cp_build_get(&request.buffer, 0x010E, &selector, 1), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{1, 0x0E, 0x01, 1, 0x02, 7}));
}

TEST(ControlPointRequests, OfTypeSetWithASingleValueCarryNoCount)
{
    const CpValue mode = cp_number(CP_TAG_U32, 0x12345678);
    Built request;
    ASSERT_EQ(cp_build_set(&request.buffer, 0x0100, CP_LAYOUT_SINGLE, &mode, 1), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x00, 0x01, 0x06, 0x78, 0x56, 0x34, 0x12}));
}

TEST(ControlPointRequests, OfTypeSetWithAListCarryTheCount)
{
    const CpValue values[] = {cp_number(CP_TAG_U16, 0x0201), cp_string("ab")};
    Built request;
    ASSERT_EQ(cp_build_set(&request.buffer, 0x0115, CP_LAYOUT_LIST, values, 2), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x15, 0x01, 2, 0x03, 1, 2, 0x08, 2, 0, 'a', 'b'}));
}

TEST(ControlPointRequests, OfTypeSetMayHaveNoArguments)
{
    Built request;
    ASSERT_EQ(cp_build_set(&request.buffer, 0x1507, CP_LAYOUT_SINGLE, nullptr, 0), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x07, 0x15}));
    ASSERT_EQ(cp_build_set(&request.buffer, 0x1507, CP_LAYOUT_LIST, nullptr, 0), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x07, 0x15, 0}));
}

TEST(ControlPointRequests, EncodeEveryKindOfArgument)
{
    const Bytes data = {0xDE, 0xAD};
    const struct {
        CpValue value;
        Bytes wire;
    } cases[] = {
        {cp_number(CP_TAG_U8, 0xFF), {0x02, 0xFF}},
        {cp_number(CP_TAG_U16, 0xABCD), {0x03, 0xCD, 0xAB}},
        {cp_number(CP_TAG_PORT, 8801), {0x04, 0x61, 0x22}},
        {cp_number(CP_TAG_I32, static_cast<uint32_t>(-3)), {0x05, 0xFD, 0xFF, 0xFF, 0xFF}},
        {cp_number(CP_TAG_U32, 0xFFFFFFFF), {0x06, 0xFF, 0xFF, 0xFF, 0xFF}},
        {cp_string(""), {0x08, 0, 0}},
        {cp_string("hi"), {0x08, 2, 0, 'h', 'i'}},
        {cp_bytes(CP_TAG_BLOB, data.data(), 2), {0x0C, 2, 0, 0, 0, 0xDE, 0xAD}},
        {cp_point(1, 0x0203, 0xFFFF), {0xA0, 1, 0, 3, 2, 0xFF, 0xFF}},
        {cp_float(1.5F), {0x06, 0x00, 0x00, 0xC0, 0x3F}},
        {cp_bytes(CP_TAG_RAW, data.data(), 2), {0xDE, 0xAD}},
        {cp_bytes(CP_TAG_RAW, nullptr, 0), {}},
    };
    for (const auto &one : cases) {
        Built request;
        ASSERT_EQ(cp_build_rpc(&request.buffer, 0x5004, &one.value, 1), CP_OK);
        EXPECT_EQ(request.bytes(), (Bytes{0x04, 0x50} + one.wire)) << int{one.value.tag};
    }
}

TEST(ControlPointRequests, RefuseWhatDoesNotFitItsField)
{
    const Bytes long_text(65536, 'x');
    const CpValue cases[] = {
        cp_number(CP_TAG_U8, 256),
        cp_number(CP_TAG_U16, 65536),
        cp_number(CP_TAG_PORT, 65536),
        cp_bytes(CP_TAG_STRING, long_text.data(), long_text.size()),
        cp_bytes(CP_TAG_STRING, nullptr, 1),
        cp_number(CP_TAG_LIST, 0),
        cp_number(CP_TAG_RECORD, 0),
        cp_number(CP_TAG_LZW_LIST, 0),
        cp_number(CP_TAG_LZW_LIST2, 0),
        cp_number(CP_TAG_GUIDE_LIST, 0),
        cp_number(0x07, 0),
    };
    for (const CpValue &value : cases) {
        Built request;
        EXPECT_EQ(cp_build_get(&request.buffer, 1, &value, 1), CP_BAD_ARGUMENT) << int{value.tag};
        EXPECT_EQ(request.buffer.size, 0U);
    }
}

TEST(ControlPointRequests, TakeTheLongestTextThatFits)
{
    const Bytes text(65535, 'x');
    Built request;
    ASSERT_EQ(cp_build_string_rpc(&request.buffer, view(text)), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x04, 0x50, 0x08, 0xFF, 0xFF} + text));
}

TEST(ControlPointRequests, CountAtMost255Arguments)
{
    const std::vector<CpValue> values(256, cp_number(CP_TAG_U8, 1));
    Built request;
    EXPECT_EQ(cp_build_get(&request.buffer, 1, values.data(), 255), CP_OK);
    EXPECT_EQ(request.buffer.size, 4U + 2 * 255);
    EXPECT_EQ(cp_build_get(&request.buffer, 1, values.data(), 256), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_set(&request.buffer, 1, CP_LAYOUT_LIST, values.data(), 256),
              CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_set(&request.buffer, 1, CP_LAYOUT_SINGLE, values.data(), 256), CP_OK);
}

TEST(ControlPointRequests, RefuseNullPointers)
{
    Built request;
    EXPECT_EQ(cp_build_get(nullptr, 1, nullptr, 0), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_device_info(nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_get(&request.buffer, 1, nullptr, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_set(&request.buffer, 1, CP_LAYOUT_SINGLE, nullptr, 1), CP_BAD_ARGUMENT);
}

TEST(ControlPointRequests, StepTheChannelWithACodeForEachDirection)
{
    Built request;
    ASSERT_EQ(cp_build_channel_step(&request.buffer, 3), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x01, 0x01, 0x02, 3}));
    ASSERT_EQ(cp_build_channel_step(&request.buffer, -255), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x02, 0x01, 0x02, 255}));
    ASSERT_EQ(cp_build_channel_step(&request.buffer, 0), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x01, 0x01, 0x02, 0}));
}

TEST(ControlPointRequests, StepTheVolumeWithACodeForEachDirection)
{
    Built request;
    ASSERT_EQ(cp_build_volume_step(&request.buffer, 255), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x0F, 0x01, 0x02, 255}));
    ASSERT_EQ(cp_build_volume_step(&request.buffer, -1), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x10, 0x01, 0x02, 1}));
}

TEST(ControlPointRequests, RefuseStepsThatDoNotFitAByte)
{
    Built request;
    for (const int32_t steps : {256, -256, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(cp_build_channel_step(&request.buffer, steps), CP_BAD_ARGUMENT);
        EXPECT_EQ(cp_build_volume_step(&request.buffer, steps), CP_BAD_ARGUMENT);
    }
}

TEST(ControlPointRequests, CarryAKeyAtIndex4AndItsSecondValueAtIndex9)
{
    Built request;
    ASSERT_EQ(cp_build_key(&request.buffer, 0x11223344, 0x55667788), CP_OK);
    EXPECT_EQ(request.bytes(),
              (Bytes{0x09, 0x01, 2, 0x06, 0x44, 0x33, 0x22, 0x11, 0x06, 0x88, 0x77, 0x66, 0x55}));
}

TEST(ControlPointRequests, CarryATextPairOneBehindTheOther)
{
    Built request;
    ASSERT_EQ(cp_build_text_pair(&request.buffer, cp_text("first"), cp_text("2")), CP_OK);
    EXPECT_EQ(request.bytes(),
              (Bytes{0x12, 0x01, 2, 0x08, 5, 0, 'f', 'i', 'r', 's', 't', 0x08, 1, 0, '2'}));
    ASSERT_EQ(cp_build_text_pair(&request.buffer, cp_text(""), cp_text(nullptr)), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x12, 0x01, 2, 0x08, 0, 0, 0x08, 0, 0}));
}

TEST(ControlPointRequests, CarryTheTextOfAStringRpcBehindTagAndLength)
{
    Built request;
    ASSERT_EQ(cp_build_string_rpc(&request.buffer, cp_text("{}")), CP_OK);
    EXPECT_EQ(request.bytes(), (Bytes{0x04, 0x50, 0x08, 2, 0, '{', '}'}));
}

TEST(ControlPointRequests, HaveANameForEveryTagAndForNoOther)
{
    size_t named = 0;
    for (unsigned tag = 0; tag <= 0xFF; tag++) {
        named += cp_tag_name(static_cast<uint8_t>(tag)) != nullptr ? 1 : 0;
    }
    EXPECT_EQ(named, 13U);
    EXPECT_STREQ(cp_tag_name(CP_TAG_STRING), "string");
    EXPECT_EQ(cp_tag_name(CP_TAG_RAW), nullptr);
}

} // namespace
