/* SPDX-License-Identifier: MIT */
#include "controlpoint_calls.h"
#include "cp_test_bytes.h"

#include <gtest/gtest.h>

namespace
{

using namespace cp_test;

/* What a builder makes. */
template <typename Builder, typename... Arguments>
Bytes built(Builder builder, const Arguments &...arguments)
{
    Built payload;
    EXPECT_EQ(builder(&payload.buffer, arguments...), CP_OK);
    return payload.bytes();
}

template <typename Builder, typename... Arguments>
void expect_bad_argument(Builder builder, const Arguments &...arguments)
{
    Built payload;
    EXPECT_EQ(builder(&payload.buffer, arguments...), CP_BAD_ARGUMENT);
    EXPECT_EQ(payload.bytes(), Bytes{});
}

TEST(ControlPointCalls, PutATextWhereItsCodeHasIt)
{
    const Bytes text = {2, 0, 'h', 'i'};
    const struct {
        uint16_t code;
        Bytes before_length;
    } cases[] = {
        {0x2003, {1, 0x03, 0x20, 1, 8}},    {0x400A, {1, 0x0A, 0x40, 1, 0, 8}},
        {0x400B, {1, 0x0B, 0x40, 1, 0, 8}}, {0x400C, {1, 0x0C, 0x40, 1, 0, 8}},
        {0x400D, {1, 0x0D, 0x40, 1, 0, 8}}, {0x4015, {1, 0x15, 0x40, 1, 0, 8}},
        {0x4016, {1, 0x16, 0x40, 1}},       {0x401B, {1, 0x1B, 0x40, 1}},
        {0x401C, {1, 0x1C, 0x40, 1, 8}},    {0x401E, {1, 0x1E, 0x40, 1, 8}},
        {0x401F, {1, 0x1F, 0x40, 1, 8}},    {0x4021, {1, 0x21, 0x40, 1}},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(built(cp_build_text_get, one.code, cp_text("hi")), one.before_length + text)
            << one.code;
        EXPECT_EQ(built(cp_build_text_get, one.code, cp_text("")), one.before_length + zeros(2))
            << one.code;
    }
}

TEST(ControlPointCalls, KnowNoTextForOtherCodes)
{
    for (const uint16_t code : std::initializer_list<uint16_t>{0, 0x0B01, 0x2001, 0x4018, 0x4020}) {
        expect_bad_argument(cp_build_text_get, code, cp_text("hi"));
    }
}

TEST(ControlPointCalls, RefuseATextThatItsLengthCannotTell)
{
    const Bytes longest(65535, 'x');
    const Bytes longer(65536, 'x');
    EXPECT_EQ(built(cp_build_text_get, uint16_t{0x4016}, view(longest)),
              (Bytes{1, 0x16, 0x40, 1, 0xFF, 0xFF}) + longest);
    expect_bad_argument(cp_build_text_get, uint16_t{0x4016}, view(longer));
    expect_bad_argument(cp_build_film_title_of, uint8_t{1}, view(longer));
    expect_bad_argument(cp_build_start_film, cp_text(""), cp_text(""), view(longer));
    expect_bad_argument(cp_build_metadata, uint8_t{0}, view(longer), cp_text(""));
    expect_bad_argument(cp_build_metadata, uint8_t{0}, cp_text(""), view(longer));
    expect_bad_argument(cp_build_setting, view(longer), cp_text(""), uint8_t{0});
    expect_bad_argument(cp_build_setting, cp_text(""), view(longer), uint8_t{0});
    expect_bad_argument(cp_build_play_address, view(longer));
    expect_bad_argument(cp_build_play_address_with_data, view(longer), cp_text(""), uint8_t{0});
}

TEST(ControlPointCalls, SendAByteThatSaysNothingForPlaceAndVersion)
{
    EXPECT_EQ(built(cp_build_spare_get, uint16_t{0x4002}), (Bytes{1, 0x02, 0x40, 1, 0}));
    EXPECT_EQ(built(cp_build_spare_get, uint16_t{0x4024}), (Bytes{1, 0x24, 0x40, 1, 0}));
    expect_bad_argument(cp_build_spare_get, uint16_t{0x4001});
}

TEST(ControlPointCalls, AskForTheGuideWithThreeSelectors)
{
    EXPECT_EQ(built(cp_build_guide, 0x12345678U),
              (Bytes{1, 0x00, 0x20, 3, 2, 0, 6, 0, 0, 0, 0, 6, 0x78, 0x56, 0x34, 0x12}));
    EXPECT_EQ(built(cp_build_channel_guide, 0x0102U, 0U),
              (Bytes{1, 0x00, 0x20, 3, 2, 1, 6, 2, 1, 0, 0, 6, 0, 0, 0, 0}));
    EXPECT_EQ(built(cp_build_guide_week, 0x01020304U), (Bytes{1, 0x02, 0x20, 1, 6, 4, 3, 2, 1}));
}

TEST(ControlPointCalls, AskForLevelsAndCaptures)
{
    EXPECT_EQ(built(cp_build_level, uint8_t{7}), (Bytes{1, 0x0E, 0x01, 1, 2, 7}));
    EXPECT_EQ(built(cp_build_capture, uint16_t{0x0102}, uint16_t{0x0304}),
              (Bytes{1, 0x18, 0x01, 2, 3, 2, 1, 3, 4, 3}));
}

TEST(ControlPointCalls, DriveThePlayerWithOneTaggedValue)
{
    EXPECT_EQ(built(cp_build_play_seek, int32_t{-2}),
              (Bytes{0x02, 0x15, 5, 0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(built(cp_build_play_volume, uint8_t{200}), (Bytes{0x04, 0x15, 2, 200}));
    EXPECT_EQ(built(cp_build_play_address, cp_text("a:b")),
              (Bytes{0x05, 0x15, 8, 3, 0, 'a', ':', 'b'}));
    EXPECT_EQ(built(cp_build_play_operation, 0U, int32_t{1}), (Bytes{0x10, 0x15, 5, 1, 0, 0, 0}));
    EXPECT_EQ(built(cp_build_play_operation, 6U, int32_t{-1}),
              (Bytes{0x16, 0x15, 5, 0xFF, 0xFF, 0xFF, 0xFF}));
    expect_bad_argument(cp_build_play_operation, 7U, int32_t{0});
}

TEST(ControlPointCalls, HandThePlayerAnAddressWithDataAndAnOption)
{
    EXPECT_EQ(built(cp_build_play_address_with_data, cp_text("ab"), cp_text("xyz"), uint8_t{9}),
              (Bytes{0x17, 0x15, 3, 8, 2, 0, 'a', 'b', 0x0C, 3, 0, 0, 0, 'x', 'y', 'z', 2, 9}));
    EXPECT_EQ(built(cp_build_play_address_with_data, cp_text(""), cp_text(""), uint8_t{0}),
              (Bytes{0x17, 0x15, 3, 8, 0, 0, 0x0C, 0, 0, 0, 0, 2, 0}));
}

TEST(ControlPointCalls, AskForAFilmBySelector)
{
    EXPECT_EQ(built(cp_build_film_title, uint8_t{3}), (Bytes{1, 0x0E, 0x20, 1, 2, 3}));
    EXPECT_EQ(built(cp_build_film_title_of, uint8_t{3}, cp_text("xy")),
              (Bytes{1, 0x18, 0x40, 2, 2, 3, 8, 2, 0, 'x', 'y'}));
}

TEST(ControlPointCalls, StartAFilmWithThreeLengthsAndThenThreeTexts)
{
    EXPECT_EQ(built(cp_build_start_film, cp_text("ab"), cp_text("c"), cp_text("120")),
              (Bytes{1, 0x20, 0x40, 3, 8, 2, 0, 1, 0, 3, 0, 'a', 'b', 'c', '1', '2', '0'}));
    EXPECT_EQ(built(cp_build_start_film, cp_text(""), cp_text(""), cp_text("")),
              (Bytes{1, 0x20, 0x40, 3, 8, 0, 0, 0, 0, 0, 0}));
}

TEST(ControlPointCalls, AskForMetadataWithAnUntaggedSecondText)
{
    EXPECT_EQ(built(cp_build_metadata, uint8_t{1}, cp_text("ab"), cp_text("c")),
              (Bytes{1, 0x03, 0x40, 3, 2, 1, 8, 2, 0, 'a', 'b', 1, 0, 'c'}));
    EXPECT_EQ(built(cp_build_metadata, uint8_t{0}, cp_text(""), cp_text("")),
              (Bytes{1, 0x03, 0x40, 3, 2, 0, 8, 0, 0, 0, 0}));
}

TEST(ControlPointCalls, SetASettingWithAnUntaggedSecondText)
{
    EXPECT_EQ(built(cp_build_setting, cp_text("ab"), cp_text("c"), uint8_t{5}),
              (Bytes{0x08, 0x40, 3, 0, 8, 2, 0, 'a', 'b', 1, 0, 'c', 2, 5}));
    EXPECT_EQ(built(cp_build_setting, cp_text(""), cp_text(""), uint8_t{0}),
              (Bytes{0x08, 0x40, 3, 0, 8, 0, 0, 0, 0, 2, 0}));
}

TEST(ControlPointCalls, AskForApplicationsWithANumber)
{
    EXPECT_EQ(built(cp_build_applications, 0x01020304U), (Bytes{1, 0x01, 0x40, 1, 6, 4, 3, 2, 1}));
}

TEST(ControlPointCalls, NeedAPlaceForTheRequest)
{
    EXPECT_EQ(cp_build_text_get(nullptr, CP_CODE_ECHO, cp_text("x")), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_spare_get(nullptr, CP_CODE_PLACE), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_play_operation(nullptr, 9, 0), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_start_film(nullptr, cp_text(""), cp_text(""), cp_text("")), CP_BAD_ARGUMENT);
    Built payload;
    EXPECT_EQ(cp_build_play_address(&payload.buffer, {nullptr, 1}), CP_BAD_ARGUMENT);
}

} // namespace
