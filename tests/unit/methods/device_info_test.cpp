/* SPDX-License-Identifier: MIT */
#include "protocol/tags.h"
#include "support/asked_television.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <cerrno>
#include <cstdlib>

namespace
{

class DeviceInfo : public AskedTelevision
{
protected:
    void host_says(const std::string &text, bool terminated = true)
    {
        HostAnswers answers;
        answers.text = text;
        answers.terminated = terminated;
        host.answer(answers);
    }
};

TEST_F(DeviceInfo, IsAListOfSevenAttributes)
{
    set_identity("KV-1", "SN");
    host_says("host");
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_EQ(host.calls(), Lines{"get_device_info [256]"});
    EXPECT_EQ(phone.received(), frame_around("06 07"
                                             " 01 0B 08 04 00 'KV-1'"
                                             " 03 0B 08 02 00 'SN'"
                                             " 00 0B 02 01"
                                             " 01 00 02 01"
                                             " 0A 0B 08 04 00 'host'"
                                             " 15 20 06 00 04 00 00"
                                             " 16 20 06 58 02 00 00"));
}

/* The rows of the list: an empty text, or the number that stands in the row. */
TEST_F(DeviceInfo, HasTheAttributesOfTheList)
{
    Bytes expected = {0x06, 0};
    const auto add = [&expected](unsigned id, unsigned tag, const char *value) {
        const unsigned number = tag == TAG_STRING ? 0 : static_cast<unsigned>(std::atoi(value));
        const size_t width = tag == TAG_STRING ? 2 : tag == TAG_U8 ? 1 : 4;
        expected[1]++;
        for (const unsigned byte : {id & 0xFFU, id >> 8U, tag}) {
            expected.push_back(static_cast<uint8_t>(byte));
        }
        for (size_t i = 0; i < width; i++) {
            expected.push_back(static_cast<uint8_t>(number >> 8U * i));
        }
    };
#define ATTRIBUTE(id, tag, value) add(id, TAG_##tag, value);
#include "protocol/operations.def"
    host_says("");
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_EQ(phone.received(), frame_around(hex(expected)));
}

TEST_F(DeviceInfo, IsThirtyEightBytesAndTheTexts)
{
    host_says("");
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_EQ(phone.received(), frame_around("06 07"
                                             " 01 0B 08 00 00"
                                             " 03 0B 08 00 00"
                                             " 00 0B 02 01"
                                             " 01 00 02 01"
                                             " 0A 0B 08 00 00"
                                             " 15 20 06 00 04 00 00"
                                             " 16 20 06 58 02 00 00"));
}

TEST_F(DeviceInfo, HoldsTheLongestTexts)
{
    set_identity(std::string(255, 'n'), std::string(255, 's'));
    host_says(std::string(255, 'h'));
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_EQ(phone.received(),
              frame_around("06 07"
                           " 01 0B 08 FF 00 " +
                           characters(255, 'n') + " 03 0B 08 FF 00 " + characters(255, 's') +
                           " 00 0B 02 01"
                           " 01 00 02 01"
                           " 0A 0B 08 FF 00 " +
                           characters(255, 'h') +
                           " 15 20 06 00 04 00 00"
                           " 16 20 06 58 02 00 00"));
}

TEST_F(DeviceInfo, EndsATextThatTheHostHasNot)
{
    host_says(std::string(256, 'h'), false);
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_EQ(phone.received(), frame_around("06 07"
                                             " 01 0B 08 00 00"
                                             " 03 0B 08 00 00"
                                             " 00 0B 02 01"
                                             " 01 00 02 01"
                                             " 0A 0B 08 00 01 " +
                                             characters(256, 'h') +
                                             " 15 20 06 00 04 00 00"
                                             " 16 20 06 58 02 00 00"));
}

TEST_F(DeviceInfo, TakesNoNoticeOfTheSlotsResult)
{
    for (const int result : {0, 1, -1, 300}) {
        HostAnswers answers;
        answers.result = result;
        host.answer(answers);
        EXPECT_EQ(handle_get_device_info(phone.record()), 0) << result;
        EXPECT_NE(phone.received(), "") << result;
    }
}

TEST_F(DeviceInfo, HoldsAnEmptyTextWithoutASlot)
{
    set_identity("KV-1", "SN");
    host_says("host");
    host.leave_out(66);
    EXPECT_EQ(handle_get_device_info(phone.record()), 0);
    EXPECT_TRUE(host.calls().empty());
    EXPECT_EQ(phone.received(), frame_around("06 07"
                                             " 01 0B 08 04 00 'KV-1'"
                                             " 03 0B 08 02 00 'SN'"
                                             " 00 0B 02 01"
                                             " 01 00 02 01"
                                             " 0A 0B 08 00 00"
                                             " 15 20 06 00 04 00 00"
                                             " 16 20 06 58 02 00 00"));
}

TEST_F(DeviceInfo, IsNotSentWithoutATable)
{
    set_identity("KV-1", "SN");
    host.withdraw();
    EXPECT_EQ(handle_get_device_info(phone.record()), -1);
    EXPECT_EQ(ask(tv_get, "05 00"), 0);
    EXPECT_EQ(phone.received(), "");
}

TEST_F(DeviceInfo, IsNotSentWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(handle_get_device_info(phone.record()), -1);
    EXPECT_EQ(phone.received(), "");
    EXPECT_EQ(memory.calls(), 1);
}

} // namespace
