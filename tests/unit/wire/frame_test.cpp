/* SPDX-License-Identifier: MIT */
#include "wire/frame.h"

#include "support/system_calls.h"
#include "support/wire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

namespace
{

Bytes built(uint8_t type, const Bytes &payload)
{
    const Frame frame =
        frame_build(type, payload.empty() ? "" : static_cast<const void *>(&payload[0]),
                    static_cast<int32_t>(payload.size()));
    const Bytes result(frame.bytes, frame.bytes + frame.size);
    free(frame.bytes);
    return result;
}

TEST(Frame, IsRefusedWhenThereIsNothingToLookAt)
{
    const uint8_t magic[] = {0xA5, 0xA5, 0xA5};
    for (const int32_t length : {INT32_MIN, -1, 0, 1, 72, INT32_MAX}) {
        EXPECT_EQ(check_frame(nullptr, length), -1) << length;
    }
    EXPECT_EQ(check_frame(magic, 0), -1);
    EXPECT_EQ(check_frame(magic, -1), -1);
    EXPECT_EQ(check_frame(magic, INT32_MIN), -1);
}

TEST(Frame, IsToldByItsFirstTwoBytesAlone)
{
    const uint8_t good[] = {0xA5, 0xA5, 0x00};
    EXPECT_EQ(check_frame(good, 3), 0);
    EXPECT_EQ(check_frame(good, 2), 0);
    EXPECT_EQ(check_frame(good, INT32_MAX), 0);
    const uint8_t first_wrong[] = {0xA4, 0xA5, 0xA5};
    EXPECT_EQ(check_frame(first_wrong, 3), -21);
    const uint8_t second_wrong[] = {0xA5, 0x5A, 0xA5};
    EXPECT_EQ(check_frame(second_wrong, 3), -21);
}

TEST(Frame, OfOneByteHasNoSecondMagicByteToRead)
{
    const std::unique_ptr<uint8_t[]> one(new uint8_t[1]{0xA5});
    EXPECT_EQ(check_frame(one.get(), 1), -21);
}

TEST(Frame, IsNotCheckedBeyondItsMagic)
{
    Bytes frame = wire_frame(FRAME_GET, bytes("01 07 20"));
    frame.back() ^= 0xFF;
    frame[2] = 0x11;
    frame[7] = 0x22;
    frame[60] = 0x33;
    EXPECT_EQ(check_frame(frame.data(), static_cast<int32_t>(frame.size())), 0);
}

TEST(Frame, AroundAnEmptyPayloadHas72Bytes)
{
    EXPECT_EQ(hex(built(0x0A, {})), "A5 A5 A5 48 00 00 00 "
                                    "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                    "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                    "00 00 00 0A "
                                    "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                    "41");
}

TEST(Frame, AroundTheHeartbeatHas77Bytes)
{
    EXPECT_EQ(hex(built(0xEE, bytes("'HEART'"))),
              "A5 A5 A5 4D 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 EE 48 45 41 52 54 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "9E");
}

TEST(Frame, CountsItsLengthFromTheMagicToTheChecksum)
{
    const Bytes frame = built(FRAME_EVENT, Bytes(70000, 0));
    ASSERT_EQ(frame.size(), 70072u);
    EXPECT_EQ(hex(frame.data() + 3, 4), "B8 11 01 00");
    EXPECT_EQ(frame_length(frame.data()), 70072u);
}

TEST(Frame, SumsItsBytesModulo256)
{
    EXPECT_EQ(hex(built(FRAME_SET, Bytes(1000, 0xFF))),
              hex(wire_frame(FRAME_SET, Bytes(1000, 0xFF))));
    /* 3 x A5, the length 0x49, the type 0x00, the payload: 0x0238 and the payload. */
    EXPECT_EQ(built(0x00, {0x00}).back(), 0x38);
    EXPECT_EQ(built(0x00, {0xC8}).back(), 0x00);
    EXPECT_EQ(built(0x00, {0xFF}).back(), 0x37);
}

TEST(Frame, EndsInTheSumOfPayloadsOfEverySizeAndAlignment)
{
    Bytes payload;
    for (uint32_t i = 0; i < 3000; i++) {
        payload.push_back(i % 7 == 0 ? uint8_t{0xFF} : static_cast<uint8_t>(i * 31));
    }
    for (size_t first = 0; first < 9; first++) {
        for (const size_t size : {0u, 1u, 6u, 7u, 8u, 9u, 15u, 1023u, 1024u, 1025u, 1032u, 2990u}) {
            const Bytes part(payload.begin() + static_cast<long>(first),
                             payload.begin() + static_cast<long>(first + size));
            const Frame frame =
                frame_build(FRAME_GET_REPLY, payload.data() + first, static_cast<int32_t>(size));
            EXPECT_TRUE(Bytes(frame.bytes, frame.bytes + frame.size) ==
                        wire_frame(FRAME_GET_REPLY, part))
                << first << " " << size;
            free(frame.bytes);
        }
    }
    EXPECT_TRUE(built(FRAME_GET_REPLY, Bytes(100000, 0xFF)) ==
                wire_frame(FRAME_GET_REPLY, Bytes(100000, 0xFF)));
}

TEST(Frame, IsNotBuiltWithoutAPayload)
{
    EXPECT_EQ(frame_build(FRAME_EVENT, nullptr, 0).bytes, nullptr);
    EXPECT_EQ(frame_build(FRAME_EVENT, nullptr, 5).bytes, nullptr);
    EXPECT_EQ(frame_build(FRAME_EVENT, "", -1).bytes, nullptr);
    EXPECT_EQ(frame_build(FRAME_EVENT, "", INT32_MIN).bytes, nullptr);
}

TEST(Frame, IsBuiltOnlyWhenItsLengthFitsASigned32BitNumber)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1, 10);
    EXPECT_EQ(frame_build(FRAME_EVENT, "", INT32_MAX).bytes, nullptr);
    EXPECT_EQ(frame_build(FRAME_EVENT, "", INT32_MAX - 71).bytes, nullptr);
    EXPECT_EQ(memory.calls(), 0);
    EXPECT_EQ(frame_build(FRAME_EVENT, "", INT32_MAX - 72).bytes, nullptr);
    EXPECT_EQ(memory.calls(), 1) << "the longest frame is refused";
}

TEST(Frame, IsNullWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_TRUE(built(FRAME_EVENT, bytes("01 02 03")).empty());
    EXPECT_EQ(built(FRAME_EVENT, bytes("01 02 03")).size(), 75u);
}

TEST(Frame, IsLittleEndianAtAnyAddress)
{
    uint8_t buffer[8] = {};
    store_u16(buffer + 1, 0x1234);
    store_u32(buffer + 3, 0x89ABCDEFu);
    EXPECT_EQ(hex(buffer, sizeof buffer), "00 34 12 EF CD AB 89 00");
    EXPECT_EQ(load_u16(buffer + 1), 0x1234);
    EXPECT_EQ(load_u32(buffer + 3), 0x89ABCDEFu);
    store_u32(buffer, UINT32_MAX);
    EXPECT_EQ(load_u32(buffer), UINT32_MAX);
    EXPECT_EQ(load_u16(buffer), UINT16_MAX);
}

TEST(Frame, TypesAreThoseOfTheWire)
{
    EXPECT_EQ(FRAME_GET, 0x05);
    EXPECT_EQ(FRAME_GET_REPLY, 0x06);
    EXPECT_EQ(FRAME_SET, 0x07);
    EXPECT_EQ(FRAME_SET_REPLY, 0x08);
    EXPECT_EQ(FRAME_EVENT, 0x09);
    EXPECT_EQ(FRAME_NO_OP, 0x0A);
    EXPECT_EQ(FRAME_RPC, 0x21);
    EXPECT_EQ(FRAME_RPC_REPLY, 0x22);
    EXPECT_EQ(FRAME_HEARTBEAT, 0xEE);
}

} // namespace
