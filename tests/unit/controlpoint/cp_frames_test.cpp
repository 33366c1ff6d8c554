/* SPDX-License-Identifier: MIT */
#include "cp_test_bytes.h"

#include <gtest/gtest.h>

namespace
{

using namespace cp_test;

TEST(ControlPointFrames, BuildTheSmallestFrameFor72Bytes)
{
    Built frame;
    ASSERT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_NO_OP, nullptr, 0), CP_OK);
    const Bytes expected =
        Bytes{0xA5, 0xA5, 0xA5, 72, 0, 0, 0} + zeros(43) + Bytes{0x0A} + zeros(20) + Bytes{0x41};
    EXPECT_EQ(frame.bytes(), expected);
}

TEST(ControlPointFrames, PutThePayloadAtByte51AndTheSumLast)
{
    Built frame;
    ASSERT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_HEARTBEAT, "HEART", 5), CP_OK);
    const Bytes expected = Bytes{0xA5, 0xA5, 0xA5, 77, 0, 0, 0} + zeros(43) + Bytes{0xEE} +
                           text_bytes("HEART") + zeros(20) + Bytes{0x9E};
    EXPECT_EQ(frame.bytes(), expected);
}

TEST(ControlPointFrames, WriteALengthAbove255InLittleEndian)
{
    const Bytes payload(70000, 1);
    Built frame;
    ASSERT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_SET, payload.data(), payload.size()), CP_OK);
    ASSERT_EQ(frame.buffer.size, 70072U);
    EXPECT_EQ(front_of(frame.bytes(), 7), (Bytes{0xA5, 0xA5, 0xA5, 0xB8, 0x11, 0x01, 0x00}));
    EXPECT_EQ(frame.bytes(), frame_bytes(CP_FRAME_SET, payload));
}

TEST(ControlPointFrames, ReplaceWhatTheBufferHeldBefore)
{
    Built frame;
    ASSERT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_SET, "longer than what follows", 24), CP_OK);
    ASSERT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_NO_OP, nullptr, 0), CP_OK);
    EXPECT_EQ(frame.bytes(), frame_bytes(CP_FRAME_NO_OP, {}));
}

TEST(ControlPointFrames, AreRefusedWithoutABufferOrWithoutThePayloadThatTheyShallCarry)
{
    Built frame;
    EXPECT_EQ(cp_build_frame(nullptr, CP_FRAME_NO_OP, nullptr, 0), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_NO_OP, nullptr, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(frame.buffer.size, 0U);
}

TEST(ControlPointFrames, AreRefusedWhenTheirLengthDoesNotFit32Bits)
{
    Built frame;
    const uint8_t byte = 0;
    EXPECT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_SET, &byte, 0xFFFFFFFFU - 71),
              CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_build_frame(&frame.buffer, CP_FRAME_SET, &byte, SIZE_MAX), CP_BAD_ARGUMENT);
}

TEST(ControlPointStatus, HasATextForEveryValue)
{
    const CpStatus all[] = {CP_OK,     CP_MORE,     CP_NOT_FOUND,    CP_REFUSED, CP_TIMED_OUT,
                            CP_CLOSED, CP_PROTOCOL, CP_BAD_ARGUMENT, CP_SYSTEM};
    for (const CpStatus one : all) {
        for (const CpStatus other : all) {
            EXPECT_EQ(std::string(cp_status_text(one)) == cp_status_text(other), one == other);
        }
    }
}

TEST(ControlPointBuffer, CanBeFreedTwiceAndUsedAgain)
{
    CpBuffer buffer = {};
    ASSERT_EQ(cp_build_device_info(&buffer), CP_OK);
    cp_buffer_free(&buffer);
    cp_buffer_free(&buffer);
    cp_buffer_free(nullptr);
    EXPECT_EQ(buffer.data, nullptr);
    ASSERT_EQ(cp_build_device_info(&buffer), CP_OK);
    EXPECT_EQ(buffer.size, 1U);
    cp_buffer_free(&buffer);
}

} // namespace
