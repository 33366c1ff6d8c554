/* SPDX-License-Identifier: MIT */
#include "cp_test_bytes.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace
{

using namespace cp_test;

struct Freed {
    void operator()(CpSplitter *splitter) const
    {
        cp_splitter_free(splitter);
    }
};
using Splitter = std::unique_ptr<CpSplitter, Freed>;

Splitter make_splitter(uint32_t max_frame = 0)
{
    return Splitter(cp_splitter_new(max_frame));
}

CpStatus feed(const Splitter &splitter, const Bytes &bytes)
{
    return cp_splitter_feed(splitter.get(), bytes.data(), bytes.size());
}

CpStatus next(const Splitter &splitter)
{
    CpFrame frame = {};
    return cp_splitter_next(splitter.get(), &frame);
}

/* Everything that comes out, as (type, payload) rows. */
std::vector<Bytes> drain(const Splitter &splitter)
{
    std::vector<Bytes> frames;
    CpFrame frame = {};
    while (cp_splitter_next(splitter.get(), &frame) == CP_OK) {
        frames.push_back(Bytes{frame.type} + taken(frame.payload));
    }
    return frames;
}

const std::vector<Bytes> three_frames = {Bytes{9} + small_event(),
                                         Bytes{0xEE} + text_bytes("HEART"), Bytes{0x0A}};

Bytes three_frames_on_the_wire()
{
    return frame_bytes(9, small_event()) + frame_bytes(0xEE, text_bytes("HEART")) +
           frame_bytes(0x0A, {});
}

Bytes head_with_length(uint32_t length)
{
    return {0xA5,
            0xA5,
            0xA5,
            static_cast<uint8_t>(length),
            static_cast<uint8_t>(length >> 8),
            static_cast<uint8_t>(length >> 16),
            static_cast<uint8_t>(length >> 24)};
}

TEST(ControlPointSplitter, HandsOutTheFramesOfOneFeedInOrder)
{
    const Splitter splitter = make_splitter();
    ASSERT_EQ(feed(splitter, three_frames_on_the_wire()), CP_OK);
    EXPECT_EQ(drain(splitter), three_frames);
    EXPECT_EQ(next(splitter), CP_MORE);
    EXPECT_EQ(cp_splitter_pending(splitter.get()), 0U);
    EXPECT_STREQ(cp_splitter_problem(splitter.get()), "");
}

TEST(ControlPointSplitter, DoesNotMindWhereTheStreamIsCut)
{
    const Bytes wire = three_frames_on_the_wire();
    for (size_t cut = 0; cut <= wire.size(); cut++) {
        const Splitter splitter = make_splitter();
        ASSERT_EQ(feed(splitter, front_of(wire, cut)), CP_OK);
        std::vector<Bytes> frames = drain(splitter);
        ASSERT_EQ(feed(splitter, {wire.begin() + static_cast<std::ptrdiff_t>(cut), wire.end()}),
                  CP_OK);
        for (const Bytes &frame : drain(splitter)) {
            frames.push_back(frame);
        }
        EXPECT_EQ(frames, three_frames) << "cut at " << cut;
    }
}

TEST(ControlPointSplitter, TakesSingleBytes)
{
    const Splitter splitter = make_splitter();
    std::vector<Bytes> frames;
    for (const uint8_t byte : three_frames_on_the_wire()) {
        ASSERT_EQ(feed(splitter, {byte}), CP_OK);
        for (const Bytes &frame : drain(splitter)) {
            frames.push_back(frame);
        }
    }
    EXPECT_EQ(frames, three_frames);
}

TEST(ControlPointSplitter, HandsOutNothingBeforeTheLastByteOfAFrame)
{
    const Bytes wire = frame_bytes(9, small_event());
    for (size_t size = 0; size < wire.size(); size++) {
        const Splitter splitter = make_splitter();
        ASSERT_EQ(feed(splitter, front_of(wire, size)), CP_OK);
        EXPECT_EQ(next(splitter), CP_MORE);
        EXPECT_EQ(cp_splitter_pending(splitter.get()), size);
    }
}

TEST(ControlPointSplitter, RefusesBadMagicAsSoonAsItArrives)
{
    for (size_t wrong = 0; wrong < 3; wrong++) {
        const Splitter splitter = make_splitter();
        Bytes head = {0xA5, 0xA5, 0xA5};
        head[wrong] = 0xA4;
        ASSERT_EQ(feed(splitter, front_of(head, wrong + 1)), CP_OK);
        EXPECT_EQ(next(splitter), CP_PROTOCOL);
        EXPECT_STREQ(cp_splitter_problem(splitter.get()), "bad magic");
    }
}

TEST(ControlPointSplitter, RefusesEveryLengthBelow72)
{
    for (uint32_t length = 0; length < 72; length++) {
        const Splitter splitter = make_splitter();
        ASSERT_EQ(feed(splitter, head_with_length(length)), CP_OK);
        EXPECT_EQ(next(splitter), CP_PROTOCOL);
        EXPECT_STREQ(cp_splitter_problem(splitter.get()), "frame length below 72");
    }
}

TEST(ControlPointSplitter, RefusesALengthAbove64MebibytesBeforeAnyOfItArrives)
{
    for (const uint32_t length : {67108865U, 0x80000000U, 0xFFFFFFFFU}) {
        const Splitter splitter = make_splitter();
        ASSERT_EQ(feed(splitter, head_with_length(length)), CP_OK);
        EXPECT_EQ(next(splitter), CP_PROTOCOL);
        EXPECT_STREQ(cp_splitter_problem(splitter.get()), "frame length above the maximum");
    }
    const Splitter splitter = make_splitter();
    ASSERT_EQ(feed(splitter, head_with_length(67108864)), CP_OK);
    EXPECT_EQ(next(splitter), CP_MORE);
}

TEST(ControlPointSplitter, KeepsToTheMaximumThatItIsGiven)
{
    const Splitter exact = make_splitter(77);
    ASSERT_EQ(feed(exact, frame_bytes(0xEE, text_bytes("HEART"))), CP_OK);
    EXPECT_EQ(next(exact), CP_OK);
    const Splitter small = make_splitter(76);
    ASSERT_EQ(feed(small, frame_bytes(0xEE, text_bytes("HEART"))), CP_OK);
    EXPECT_EQ(next(small), CP_PROTOCOL);
}

TEST(ControlPointSplitter, RefusesAWrongChecksum)
{
    Bytes wire = frame_bytes(9, small_event());
    wire.back()++;
    const Splitter splitter = make_splitter();
    ASSERT_EQ(feed(splitter, wire), CP_OK);
    EXPECT_EQ(next(splitter), CP_PROTOCOL);
    EXPECT_STREQ(cp_splitter_problem(splitter.get()), "bad checksum");
}

TEST(ControlPointSplitter, LetsNoChangedByteThrough)
{
    const Bytes good = frame_bytes(9, small_event());
    for (size_t at = 0; at < good.size(); at++) {
        for (unsigned bit = 0; bit < 8; bit++) {
            Bytes wire = good;
            wire[at] = static_cast<uint8_t>(wire[at] ^ 1U << bit);
            const Splitter splitter = make_splitter();
            ASSERT_EQ(feed(splitter, wire), CP_OK);
            EXPECT_NE(next(splitter), CP_OK) << "byte " << at << " bit " << bit;
        }
    }
}

TEST(ControlPointSplitter, DoesNotLookAtTheReservedBytes)
{
    Bytes wire = frame_bytes(9, small_event());
    wire[7] = wire[49] = 1;
    wire[wire.size() - 2] = 3;
    wire.back() = static_cast<uint8_t>(wire.back() + 5);
    const Splitter splitter = make_splitter();
    ASSERT_EQ(feed(splitter, wire), CP_OK);
    EXPECT_EQ(next(splitter), CP_OK);
}

TEST(ControlPointSplitter, StaysBrokenAndTakesNoMoreBytes)
{
    const Splitter splitter = make_splitter();
    ASSERT_EQ(feed(splitter, frame_bytes(0x0A, {}) + text_bytes("HTTP")), CP_OK);
    EXPECT_EQ(next(splitter), CP_OK);
    EXPECT_EQ(next(splitter), CP_PROTOCOL);
    EXPECT_EQ(next(splitter), CP_PROTOCOL);
    EXPECT_EQ(feed(splitter, frame_bytes(0x0A, {})), CP_PROTOCOL);
    EXPECT_EQ(next(splitter), CP_PROTOCOL);
    EXPECT_EQ(cp_splitter_pending(splitter.get()), 0U);
}

TEST(ControlPointSplitter, RefusesNullPointers)
{
    const Splitter splitter = make_splitter();
    CpFrame frame = {};
    EXPECT_EQ(cp_splitter_feed(nullptr, "x", 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_splitter_feed(splitter.get(), nullptr, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_splitter_feed(splitter.get(), nullptr, 0), CP_OK);
    EXPECT_EQ(cp_splitter_next(nullptr, &frame), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_splitter_next(splitter.get(), nullptr), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_splitter_pending(nullptr), 0U);
    EXPECT_STREQ(cp_splitter_problem(nullptr), "");
    cp_splitter_free(nullptr);
}

/* Whatever comes out of a stream of noise around good frames has been checked: it never crashes,
 * and once broken it is over. */
TEST(ControlPointSplitter, OutlivesNoise)
{
    std::mt19937 random(20240229);
    for (int round = 0; round < 500; round++) {
        const Splitter splitter = make_splitter(4096);
        Bytes wire = three_frames_on_the_wire();
        for (unsigned changes = random() % 4; changes > 0; changes--) {
            wire[random() % wire.size()] = static_cast<uint8_t>(random());
        }
        CpStatus status = CP_OK;
        size_t at = 0;
        while (at < wire.size() && status == CP_OK) {
            const size_t size = std::min<size_t>(1 + random() % 97, wire.size() - at);
            status = cp_splitter_feed(splitter.get(), &wire[at], size);
            at += size;
            EXPECT_LE(drain(splitter).size(), 3U);
        }
        EXPECT_TRUE(status == CP_OK || status == CP_PROTOCOL);
    }
}

} // namespace
