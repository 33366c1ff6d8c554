/* SPDX-License-Identifier: MIT */
#include "cp_test_bytes.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace
{

using namespace cp_test;

/* Every front part of a reply is a protocol error, except those of the sizes in `whole`. */
void expect_no_front_part(const Bytes &reply, std::initializer_list<size_t> whole,
                          const std::function<CpStatus(CpBytes)> &decode)
{
    for (size_t size = 0; size < reply.size(); size++) {
        const Bytes part = front_of(reply, size);
        const bool is_whole = std::count(whole.begin(), whole.end(), size) > 0;
        EXPECT_EQ(decode(view(part)), is_whole ? CP_OK : CP_PROTOCOL) << size << " bytes";
    }
    EXPECT_EQ(decode(view(reply)), CP_OK);
}

CpStatus decode_set(CpBytes bytes)
{
    CpSetReply reply = {};
    return cp_decode_set_reply(bytes, &reply);
}

CpStatus decode_get(CpBytes bytes)
{
    CpGetReply reply = {};
    return cp_decode_get_reply(bytes, &reply);
}

CpStatus decode_info(CpBytes bytes)
{
    CpDeviceInfo info = {};
    return cp_decode_device_info(bytes, &info);
}

CpStatus decode_rpc(CpBytes bytes)
{
    CpRpcReply reply = {};
    return cp_decode_rpc_reply(bytes, &reply);
}

CpStatus decode_event(CpBytes bytes)
{
    CpEvent event = {};
    return cp_decode_event(bytes, &event);
}

CpGetReply get_reply(const Bytes &bytes)
{
    CpGetReply reply = {};
    EXPECT_EQ(cp_decode_get_reply(view(bytes), &reply), CP_OK);
    return reply;
}

TEST(ControlPointSetReply, CarriesCodeAndResult)
{
    const Bytes wire = {0x09, 0x01, 0xFF};
    CpSetReply reply = {};
    ASSERT_EQ(cp_decode_set_reply(view(wire), &reply), CP_OK);
    EXPECT_EQ(reply.code, 0x0109);
    EXPECT_EQ(reply.result, 0xFF);
}

TEST(ControlPointSetReply, IsThreeBytesLong)
{
    expect_no_front_part({0x09, 0x01, 0xFF}, {}, decode_set);
    const Bytes longer = {0x09, 0x01, 0xFF, 0};
    CpSetReply reply = {1, 1};
    EXPECT_EQ(cp_decode_set_reply(view(longer), &reply), CP_PROTOCOL);
    EXPECT_EQ(reply.code, 0);
    EXPECT_EQ(reply.result, 0);
}

TEST(ControlPointGetReply, CarriesNumbersOfEveryWidth)
{
    const struct {
        Bytes wire;
        uint8_t tag;
        uint32_t number;
    } cases[] = {
        {{1, 0x0E, 0x01, 0x02, 0xFE}, CP_TAG_U8, 0xFE},
        {{1, 0x0E, 0x01, 0x03, 0x34, 0x12}, CP_TAG_U16, 0x1234},
        {{1, 0x18, 0x01, 0x04, 0x61, 0x22}, CP_TAG_PORT, 8801},
        {{1, 0x05, 0x20, 0x05, 0xFD, 0xFF, 0xFF, 0xFF}, CP_TAG_I32, 0xFFFFFFFD},
        {{1, 0x05, 0x20, 0x06, 0x78, 0x56, 0x34, 0x12}, CP_TAG_U32, 0x12345678},
    };
    for (const auto &one : cases) {
        const CpGetReply reply = get_reply(one.wire);
        EXPECT_EQ(reply.code, one.wire[1] | one.wire[2] << 8);
        EXPECT_EQ(reply.value.tag, one.tag);
        EXPECT_EQ(reply.value.number, one.number);
        EXPECT_FALSE(reply.empty);
        expect_no_front_part(one.wire, {3}, decode_get);
    }
}

TEST(ControlPointGetReply, CarriesAStringWithATwoByteLength)
{
    const Bytes wire = {1, 0x01, 0x0B, 0x08, 2, 0, 'T', 'V'};
    EXPECT_EQ(text_of(get_reply(wire).value.bytes), "TV");
    expect_no_front_part(wire, {3}, decode_get);
}

TEST(ControlPointGetReply, MayCarryAnEmptyStringWhichIsNotAnEmptyReply)
{
    const Bytes wire = {1, 0x01, 0x0B, 0x08, 0, 0};
    const CpGetReply reply = get_reply(wire);
    EXPECT_EQ(reply.value.tag, CP_TAG_STRING);
    EXPECT_EQ(reply.value.bytes.size, 0U);
    EXPECT_FALSE(reply.empty);
    expect_no_front_part(wire, {3}, decode_get);
}

TEST(ControlPointGetReply, CarriesBlobsAndRecordsWithAFourByteLength)
{
    for (const uint8_t tag : Bytes{CP_TAG_BLOB, CP_TAG_RECORD}) {
        const Bytes wire = {1, 0x10, 0x20, tag, 4, 0, 0, 0, 9, 8, 7, 6};
        const CpGetReply reply = get_reply(wire);
        EXPECT_EQ(reply.value.tag, tag);
        EXPECT_EQ(taken(reply.value.bytes), (Bytes{9, 8, 7, 6}));
        expect_no_front_part(wire, {3}, decode_get);
    }
}

TEST(ControlPointGetReply, CarriesAPoint)
{
    const Bytes wire = {1, 0x10, 0x20, 0xA0, 1, 0, 2, 0, 0xFF, 0xFF};
    const CpGetReply reply = get_reply(wire);
    EXPECT_EQ(reply.value.point[0], 1);
    EXPECT_EQ(reply.value.point[1], 2);
    EXPECT_EQ(reply.value.point[2], 0xFFFF);
    expect_no_front_part(wire, {3}, decode_get);
}

TEST(ControlPointGetReply, CarriesListsWhoseLengthCountsTheirCountToo)
{
    for (const uint8_t tag : Bytes{CP_TAG_LIST, CP_TAG_GUIDE_LIST, CP_TAG_LZW_LIST}) {
        const Bytes wire = {1, 0x07, 0x20, tag, 6, 0, 0, 0, 2, 1, 'a', 'b', 'c', 'd'};
        const CpGetReply reply = get_reply(wire);
        EXPECT_EQ(reply.value.tag, tag);
        EXPECT_EQ(reply.value.count, 0x0102);
        EXPECT_EQ(text_of(reply.value.bytes), "abcd");
        EXPECT_FALSE(reply.empty);
        expect_no_front_part(wire, {3}, decode_get);
    }
}

TEST(ControlPointGetReply, CarriesAListWithTwoCounts)
{
    const Bytes wire = {1, 0x00, 0x20, 0xA1, 6, 0, 0, 0, 1, 0, 2, 0, 'x', 'y'};
    const CpGetReply reply = get_reply(wire);
    EXPECT_EQ(reply.value.count, 1);
    EXPECT_EQ(reply.value.second_count, 2);
    EXPECT_EQ(text_of(reply.value.bytes), "xy");
    expect_no_front_part(wire, {3}, decode_get);
}

TEST(ControlPointGetReply, IsEmptyWithoutAValue)
{
    const CpGetReply reply = get_reply({1, 0x18, 0x20});
    EXPECT_TRUE(reply.empty);
    EXPECT_EQ(reply.code, 0x2018);
    EXPECT_EQ(reply.value.tag, 0);
}

TEST(ControlPointGetReply, IsEmptyWithAListOfLengthZeroWhateverItsTag)
{
    for (const uint8_t tag :
         Bytes{CP_TAG_LIST, CP_TAG_GUIDE_LIST, CP_TAG_LZW_LIST, CP_TAG_LZW_LIST2}) {
        const Bytes wire = {1, 0x00, 0x30, tag, 0, 0, 0, 0};
        EXPECT_TRUE(get_reply(wire).empty);
        expect_no_front_part(wire, {3}, decode_get);
    }
}

TEST(ControlPointGetReply, IsNotEmptyWithAListOfNoEntries)
{
    const CpGetReply reply = get_reply({1, 0x07, 0x20, 0xA2, 2, 0, 0, 0, 0, 0});
    EXPECT_FALSE(reply.empty);
    EXPECT_EQ(reply.value.count, 0);
    EXPECT_EQ(reply.value.bytes.size, 0U);
}

TEST(ControlPointGetReply, IsRefusedWithAListTooShortForItsCounts)
{
    const Bytes one_byte = {1, 0x07, 0x20, 0xA2, 1, 0, 0, 0, 5, 5, 5, 5};
    EXPECT_EQ(decode_get(view(one_byte)), CP_PROTOCOL);
    const Bytes three_bytes = {1, 0x00, 0x20, 0xA1, 3, 0, 0, 0, 5, 5, 5, 5};
    EXPECT_EQ(decode_get(view(three_bytes)), CP_PROTOCOL);
}

TEST(ControlPointGetReply, IsRefusedWhenALengthGoesBeyondTheEnd)
{
    for (const uint8_t tag : Bytes{CP_TAG_BLOB, CP_TAG_RECORD, CP_TAG_LIST, CP_TAG_LZW_LIST2}) {
        const Bytes huge = {1, 0x10, 0x20, tag, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4};
        EXPECT_EQ(decode_get(view(huge)), CP_PROTOCOL);
    }
    const Bytes text = {1, 0x01, 0x0B, 0x08, 3, 0, 'T', 'V'};
    EXPECT_EQ(decode_get(view(text)), CP_PROTOCOL);
}

TEST(ControlPointGetReply, IsRefusedWithAnyTagThatIsNone)
{
    for (unsigned tag = 0; tag <= 0xFF; tag++) {
        const Bytes wire = Bytes{1, 0x10, 0x20, static_cast<uint8_t>(tag)} + zeros(16);
        const bool known = cp_tag_name(static_cast<uint8_t>(tag)) != nullptr;
        EXPECT_EQ(decode_get(view(wire)), known ? CP_OK : CP_PROTOCOL) << tag;
    }
}

TEST(ControlPointGetReply, HasExactlyOneAttribute)
{
    for (const uint8_t count : Bytes{0, 2, 255}) {
        const Bytes wire = {count, 0x0E, 0x01, 0x02, 5};
        CpGetReply reply = {};
        reply.code = 1;
        EXPECT_EQ(cp_decode_get_reply(view(wire), &reply), CP_PROTOCOL);
        EXPECT_EQ(reply.code, 0);
    }
}

TEST(ControlPointGetReply, TellsWhatStandsBehindItsValue)
{
    const Bytes wire = {1, 0x0E, 0x01, 0x02, 5, 0xCA, 0xFE};
    const CpGetReply reply = get_reply(wire);
    EXPECT_EQ(reply.value.number, 5U);
    EXPECT_EQ(taken(reply.extra), (Bytes{0xCA, 0xFE}));
}

const Bytes name_attribute = {0x01, 0x0B, 0x08, 2, 0, 'T', 'V'};
const Bytes serial_attribute = {0x03, 0x0B, 0x08, 3, 0, 'S', '-', '1'};
const Bytes registered_attribute = {0x00, 0x0B, 0x02, 1};
const Bytes state_attribute = {0x01, 0x00, 0x02, 2};
const Bytes host_text_attribute = {0x0A, 0x0B, 0x08, 1, 0, 'x'};
const Bytes attribute_2015 = {0x15, 0x20, 0x06, 0x00, 0x04, 0, 0};
const Bytes attribute_2016 = {0x16, 0x20, 0x06, 0x58, 0x02, 0, 0};

Bytes whole_info()
{
    return Bytes{7} + name_attribute + serial_attribute + registered_attribute + state_attribute +
           host_text_attribute + attribute_2015 + attribute_2016;
}

void expect_whole_info(const Bytes &wire)
{
    CpDeviceInfo info = {};
    ASSERT_EQ(cp_decode_device_info(view(wire), &info), CP_OK);
    EXPECT_EQ(info.present, uint32_t{CP_INFO_ALL});
    EXPECT_EQ(text_of(info.name), "TV");
    EXPECT_EQ(text_of(info.serial), "S-1");
    EXPECT_EQ(info.registered, 1);
    EXPECT_EQ(info.state, 2);
    EXPECT_EQ(text_of(info.host_text), "x");
    EXPECT_EQ(info.value_2015, 1024U);
    EXPECT_EQ(info.value_2016, 600U);
}

TEST(ControlPointDeviceInfo, HasSevenAttributes)
{
    expect_whole_info(whole_info());
    expect_no_front_part(whole_info(), {}, decode_info);
}

TEST(ControlPointDeviceInfo, HasItsAttributesInAnyOrder)
{
    expect_whole_info(Bytes{7} + attribute_2016 + host_text_attribute + state_attribute +
                      attribute_2015 + registered_attribute + serial_attribute + name_attribute);
}

TEST(ControlPointDeviceInfo, MayHaveAttributesThatNobodyKnows)
{
    const Bytes strangers = Bytes{0x99, 0x99, 0x0C, 1, 0, 0, 0, 7} +
                            Bytes{0x98, 0x99, 0xA0, 1, 0, 2, 0, 3, 0} +
                            Bytes{0x97, 0x99, 0xA2, 3, 0, 0, 0, 1, 0, 5};
    Bytes behind = whole_info() + strangers;
    behind[0] = 10;
    expect_whole_info(behind);
    Bytes in_front = whole_info();
    in_front[0] = 10;
    in_front.insert(in_front.begin() + 1, strangers.begin(), strangers.end());
    expect_whole_info(in_front);
}

TEST(ControlPointDeviceInfo, MayLackAttributes)
{
    const Bytes wire = Bytes{1} + serial_attribute;
    CpDeviceInfo info = {};
    ASSERT_EQ(cp_decode_device_info(view(wire), &info), CP_OK);
    EXPECT_EQ(info.present, uint32_t{CP_INFO_SERIAL});
    const Bytes none = {0};
    ASSERT_EQ(cp_decode_device_info(view(none), &info), CP_OK);
    EXPECT_EQ(info.present, 0U);
}

TEST(ControlPointDeviceInfo, IsRefusedWithAnAttributeOfAnUnknownKind)
{
    const Bytes wire = Bytes{2} + name_attribute + Bytes{0x99, 0x99, 0x77, 0};
    EXPECT_EQ(decode_info(view(wire)), CP_PROTOCOL);
}

TEST(ControlPointDeviceInfo, IsRefusedWithAnAttributeOfTheWrongKind)
{
    const Bytes wire = {1, 0x01, 0x0B, 0x06, 1, 2, 3, 4};
    CpDeviceInfo info = {};
    EXPECT_EQ(cp_decode_device_info(view(wire), &info), CP_PROTOCOL);
    EXPECT_EQ(info.present, 0U);
}

TEST(ControlPointDeviceInfo, IsRefusedWithAnAttributeThatComesTwice)
{
    EXPECT_EQ(decode_info(view(Bytes{2} + name_attribute + name_attribute)), CP_PROTOCOL);
}

TEST(ControlPointDeviceInfo, IsRefusedWhenItsCountIsNotThatOfItsAttributes)
{
    Bytes wire = whole_info();
    for (const uint8_t count : Bytes{0, 6, 8, 255}) {
        wire[0] = count;
        EXPECT_EQ(decode_info(view(wire)), CP_PROTOCOL) << int{count};
    }
}

TEST(ControlPointRpcReply, CarriesTheAnswerAndOneByteMore)
{
    const Bytes wire = {0x04, 0x50, 1, 2, 0, 'o', 'k', 0};
    CpRpcReply reply = {};
    ASSERT_EQ(cp_decode_rpc_reply(view(wire), &reply), CP_OK);
    EXPECT_EQ(reply.code, 0x5004);
    EXPECT_EQ(text_of(reply.text), "ok");
    EXPECT_EQ(taken(reply.extra), (Bytes{0}));
    expect_no_front_part(wire, {wire.size() - 1}, decode_rpc);
}

TEST(ControlPointRpcReply, IsRefusedWithAnythingButOneAnswer)
{
    const Bytes wire = {0x04, 0x50, 2, 2, 0, 'o', 'k', 0};
    EXPECT_EQ(decode_rpc(view(wire)), CP_PROTOCOL);
}

TEST(ControlPointEvent, CarriesCodeValueTextAndData)
{
    CpEvent event = {};
    const Bytes wire = small_event();
    ASSERT_EQ(cp_decode_event(view(wire), &event), CP_OK);
    EXPECT_EQ(event.code, 0x1234);
    EXPECT_EQ(event.value, 7);
    EXPECT_EQ(text_of(event.text), "ab");
    EXPECT_FALSE(event.has_second_text);
    EXPECT_EQ(taken(event.data), (Bytes{1, 2, 3}));
    expect_no_front_part(wire, {}, decode_event);
}

TEST(ControlPointEvent, MayCarryNeitherTextNorData)
{
    CpEvent event = {};
    const Bytes wire = {0x45, 0x23, 4, 3, 0xFF, 0xFF, 8, 0, 0, 0, 0, 0x0C, 0, 0, 0, 0};
    ASSERT_EQ(cp_decode_event(view(wire), &event), CP_OK);
    EXPECT_EQ(event.value, 0xFFFF);
    EXPECT_EQ(event.text.size, 0U);
    EXPECT_EQ(event.data.size, 0U);
    expect_no_front_part(wire, {}, decode_event);
}

TEST(ControlPointEvent, MayCarryASecondText)
{
    const Bytes wire = {0x34, 0x12, 5, 3, 7,   0,   8,    1, 0, 0, 0, 'a', 8,
                        2,    0,    0, 0, 'b', 'c', 0x0C, 1, 0, 0, 0, 9};
    CpEvent event = {};
    ASSERT_EQ(cp_decode_event(view(wire), &event), CP_OK);
    EXPECT_TRUE(event.has_second_text);
    EXPECT_EQ(text_of(event.text), "a");
    EXPECT_EQ(text_of(event.second_text), "bc");
    EXPECT_EQ(taken(event.data), (Bytes{9}));
    expect_no_front_part(wire, {}, decode_event);
}

TEST(ControlPointEvent, HasATextLengthOfFourBytes)
{
    const Bytes text(70000, 't');
    const Bytes wire =
        Bytes{1, 0, 4, 3, 0, 0, 8, 0x70, 0x11, 0x01, 0x00} + text + Bytes{0x0C, 0, 0, 0, 0};
    CpEvent event = {};
    ASSERT_EQ(cp_decode_event(view(wire), &event), CP_OK);
    EXPECT_EQ(taken(event.text), text);
}

TEST(ControlPointEvent, IsRefusedWithAnotherCountOtherTagsOrMoreBytes)
{
    for (const size_t at : std::vector<size_t>{2, 3, 6, 13}) {
        Bytes wire = small_event();
        wire[at]++;
        EXPECT_EQ(decode_event(view(wire)), CP_PROTOCOL) << at;
    }
    for (const uint8_t count : Bytes{0, 3, 6, 255}) {
        Bytes wire = small_event();
        wire[2] = count;
        EXPECT_EQ(decode_event(view(wire)), CP_PROTOCOL) << int{count};
    }
    EXPECT_EQ(decode_event(view(small_event() + Bytes{0})), CP_PROTOCOL);
}

TEST(ControlPointEvent, IsRefusedWhenALengthGoesBeyondTheEnd)
{
    for (const size_t length_at : std::vector<size_t>{7, 14}) {
        for (const size_t byte : std::vector<size_t>{0, 3}) {
            Bytes wire = small_event();
            wire[length_at + byte] = 0xFF;
            EXPECT_EQ(decode_event(view(wire)), CP_PROTOCOL);
        }
    }
}

TEST(ControlPointHeartbeat, IsTheWordHeart)
{
    for (const char *word : {"", "HEAR", "HEARTS", "heart", "HEARTBEAT"}) {
        EXPECT_EQ(cp_decode_heartbeat(cp_text(word)), CP_PROTOCOL) << word;
    }
    EXPECT_EQ(cp_decode_heartbeat(cp_text("HEART")), CP_OK);
}

TEST(ControlPointDecoders, RefuseNullPointers)
{
    EXPECT_EQ(cp_decode_set_reply(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_get_reply(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_device_info(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_rpc_reply(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_event(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_decode_answer(cp_text("x"), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(decode_get({nullptr, 8}), CP_PROTOCOL);
}

} // namespace
