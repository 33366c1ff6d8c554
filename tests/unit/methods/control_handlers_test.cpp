/* SPDX-License-Identifier: MIT */
#include "support/asked_television.h"
#include "tvlink/handlers.h"

namespace
{

using ControlHandlers = AskedTelevision;

const struct {
    const char *bits; /* of a single-precision number, as it travels */
    const char *whole;
} FLOATS[] = {
    {"00 00 00 00", "0"},           /* 0 */
    {"00 00 00 80", "0"},           /* -0 */
    {"01 00 00 00", "0"},           /* the smallest above 0 */
    {"FF FF 7F 3F", "0"},           /* just below 1 */
    {"00 00 80 3F", "1"},           /* 1 */
    {"FF FF FF 3F", "1"},           /* just below 2 */
    {"00 00 C0 BF", "-1"},          /* -1.5 */
    {"FF FF FF BF", "-1"},          /* just above -2 */
    {"00 00 00 BF", "0"},           /* -0.5 */
    {"00 40 9A 44", "1234"},        /* 1234 */
    {"FF FF FF 4E", "2147483520"},  /* just below 2^31 */
    {"00 00 00 4F", "2147483647"},  /* 2^31 */
    {"01 00 00 4F", "2147483647"},  /* just above 2^31 */
    {"00 00 00 CF", "-2147483648"}, /* -2^31 */
    {"FF FF FF CE", "-2147483520"}, /* just above -2^31 */
    {"01 00 00 CF", "2147483647"},  /* just below -2^31 */
    {"FF FF 7F 7F", "2147483647"},  /* the greatest */
    {"FF FF 7F FF", "2147483647"},  /* the least */
    {"00 00 80 7F", "2147483647"},  /* infinity */
    {"00 00 80 FF", "2147483647"},  /* -infinity */
    {"00 00 C0 7F", "2147483647"},  /* not a number */
    {"00 00 C0 FF", "2147483647"},  /* not a number, negative */
    {"01 00 80 7F", "2147483647"},  /* not a number, signalling */
};

TEST_F(ControlHandlers, TouchTruncatesTowardZeroAndBoundsWhatDoesNotFit)
{
    for (const auto &each : FLOATS) {
        const std::string bits = each.bits;
        const std::string whole = each.whole;
        EXPECT_EQ(ask(handle_set_tv_touch, "07 01 EE EE " + bits + " EE 00 00 40 41"), 0);
        EXPECT_EQ(host.calls(), Lines{"set_tv_touch " + whole + " 12"}) << bits;
        EXPECT_EQ(ask(handle_set_tv_touch, "07 01 EE EE 00 00 40 C1 EE " + bits), 0);
        EXPECT_EQ(host.calls(), Lines{"set_tv_touch -12 " + whole}) << bits;
        EXPECT_EQ(phone.received(),
                  frame_around("08 07 01 00") + " " + frame_around("08 07 01 00"));
    }
}

TEST_F(ControlHandlers, OrderIsChangedByTwoCodesOnly)
{
    Bytes request = bytes("00 00 06 01 00 02 00");
    for (unsigned code = 0; code <= 0xFFFF; code++) {
        request[0] = static_cast<uint8_t>(code);
        request[1] = static_cast<uint8_t>(code >> 8);
        EXPECT_EQ(ask(handle_set_tv_order, request), 0);
        if (code == 0x2006) {
            EXPECT_EQ(host.calls(), Lines{"set_tv_order 1 2 1"});
        } else if (code == 0x2010) {
            EXPECT_EQ(host.calls(), Lines{"set_tv_order 1 2 2"});
        } else if (code % 16 == 15) { /* what the buffers hold */
            EXPECT_TRUE(host.calls().empty()) << "at or a little below " << code;
            phone.received();
        }
    }
}

TEST_F(ControlHandlers, OrderSendsTheHostsResultOnlyWhenItWasCalled)
{
    HostAnswers answers;
    answers.result = -1;
    host.answer(answers);
    EXPECT_EQ(ask(handle_set_tv_order, "07 20 06 01 00 02 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 07 20 00"));
    EXPECT_EQ(ask(handle_set_tv_order, "06 20 06 01 00 02 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 06 20 FF"));
}

TEST_F(ControlHandlers, MouseIsNeverAnswered)
{
    for (const int result : {0, 1, -1, 300}) {
        HostAnswers answers;
        answers.result = result;
        host.answer(answers);
        EXPECT_EQ(ask(handle_set_tv_mouse, "06 01 A0 01 00 02 00 03 00"), 0);
        EXPECT_EQ(host.calls(), Lines{"set_tv_mouse 1 2 3"});
    }
    EXPECT_EQ(phone.received(), "");
}

TEST_F(ControlHandlers, EveryByteOfAValueCounts)
{
    /* A value that is not 0 in any of its bytes is no empty argument. */
    for (const char *value : {"01 00 00 00", "00 01 00 00", "00 00 01 00", "00 00 00 01"}) {
        EXPECT_EQ(ask(handle_set_tv_code0117, std::string("34 12 EE ") + value), 0);
        EXPECT_EQ(host.calls().size(), 1u) << value;
    }
    for (const char *value : {"01 00", "00 01"}) {
        EXPECT_EQ(ask(handle_set_tv_code0116, std::string("34 12 EE ") + value), 0);
        EXPECT_EQ(host.calls().size(), 1u) << value;
    }
}

} // namespace
