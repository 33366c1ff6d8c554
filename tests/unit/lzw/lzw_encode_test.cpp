/* SPDX-License-Identifier: MIT */
#include "tvlink/lzw.h"

#include "support/system_calls.h"
#include "unit/lzw/lzw_blocks.h"
#include "unit/lzw/lzw_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace
{

/* Bytes of which no two neighbours come a second time: every code stands for one byte. */
Bytes never_repeating(size_t length)
{
    Bytes result;
    for (int step = 1; result.size() < length; step += 2) {
        for (int i = 0; i < 256 && result.size() < length; i++) {
            result.push_back(static_cast<uint8_t>(i * step));
        }
    }
    return result;
}

uint32_t bits_at(const Bytes &stream, size_t at, size_t width)
{
    uint32_t value = 0;
    for (size_t i = at; i < at + width; i++) {
        value = value << 1 | (stream.at(i / 8) >> (7 - i % 8) & 1u);
    }
    return value;
}

TEST(LzwEncode, WritesTheByteTheEndAndTheRestOfTheBitsAgain)
{
    EXPECT_EQ(hex(encoded({0x41}, 12)), "20 C0 40");
    EXPECT_EQ(hex(encoded({0x41, 0x42}, 12)), "20 90 A0 20");
}

TEST(LzwEncode, GivesARepeatedStringOneCode)
{
    /* 41 258 259 257 */
    EXPECT_EQ(hex(encoded(text_bytes("AAAAAA"), 12)), "20 C0 A0 70 10");
    /* 41 42 258 260 257 */
    EXPECT_EQ(hex(encoded(text_bytes("ABABABA"), 12)), "20 90 A0 50 48 08");
}

TEST(LzwEncode, WritesNoRestWhenTheLastByteIsFull)
{
    /* seven bytes and the end: eight codes of nine bits */
    EXPECT_EQ(hex(encoded(text_bytes("ABCDEFG"), 12)), "20 90 88 64 42 29 18 8F 01");
}

TEST(LzwEncode, LeavesOutTheLowBitsOfTheRest)
{
    /* the rest is the last bit, of which a code follows: one more byte is full, two bits are lost
     */
    EXPECT_EQ(hex(encoded(text_bytes("ABCDEFGH"), 12)), "20 90 88 64 42 29 18 8E 48 80 80");
}

TEST(LzwEncode, CountsTheBytesInABlockOfTwiceThatSize)
{
    for (const size_t length : {1u, 2u, 100u, 1000u, 50000u}) {
        const Block in = block_of(never_repeating(length));
        const Block out(lzw_encode(in.get(), 12));
        ASSERT_NE(out, nullptr);
        const uint32_t count = element_count(out.get());
        EXPECT_EQ(element_size(out.get()), 2u);
        EXPECT_GE(count, length * 9 / 8);
        const uint8_t *behind = static_cast<const uint8_t *>(out.get()) + count;
        EXPECT_TRUE(std::all_of(behind, behind + count, [](uint8_t byte) { return byte == 0; }));
    }
}

TEST(LzwEncode, TakesTheCountForTheLengthWhateverTheElementsAre)
{
    const Block in(mem_alloc(4, 2));
    memcpy(in.get(), "ABCDEFGH", 8);
    const Block out(lzw_encode(in.get(), 12));
    EXPECT_EQ(hex(counted_bytes(out.get())), "20 90 A0 20");
    EXPECT_EQ(memcmp(in.get(), "ABCDEFGH", 8), 0);
    EXPECT_EQ(element_size(in.get()), 4u);
    EXPECT_EQ(element_count(in.get()), 2u);
}

TEST(LzwEncode, GivesNothingForNothing)
{
    EXPECT_EQ(lzw_encode(block_of({}).get(), 12), nullptr);
    EXPECT_EQ(lzw_encode(nullptr, 12), nullptr);
}

TEST(LzwEncode, WritesTheClearCodeOneBitWiderThanAnyOther)
{
    for (const size_t max_bits : {9u, 10u, 11u, 12u}) {
        const Bytes input = never_repeating((size_t{1} << max_bits) + 100);
        const Bytes stream = encoded(input, static_cast<int>(max_bits));
        size_t at = 0;
        size_t read = 0;
        for (size_t width = 9; width <= max_bits; width++) {
            for (size_t next = width == 9 ? 258 : size_t{1} << (width - 1);
                 next < size_t{1} << width; next++) {
                ASSERT_EQ(bits_at(stream, at, width), input[read]) << max_bits << " " << read;
                at += width;
                read++;
            }
        }
        EXPECT_EQ(bits_at(stream, at, max_bits + 1), 256u);
        EXPECT_EQ(bits_at(stream, at + max_bits + 1, 9), input[read]);
    }
}

/* The encoder's table is only as large as the length demands. */
TEST(LzwEncode, HasEnoughCodesForEveryLength)
{
    for (size_t width = 9; width <= 15; width++) {
        const size_t codes = (size_t{1} << width) - 258;
        for (size_t length = codes - 2; length <= codes + 3; length++) {
            const Bytes input = never_repeating(length);
            ASSERT_TRUE(encoded(input, 16) == model_encoded(input, 16)) << length;
        }
    }
}

TEST(LzwEncode, ReadsWidthsOutOfRangeAsTheNearestOrTheUsualOne)
{
    const Bytes input = never_repeating(33000);
    const Bytes usual = encoded(input, 12);
    const Bytes widest = encoded(input, 16);
    EXPECT_NE(usual, encoded(input, 9));
    EXPECT_NE(usual, widest);
    EXPECT_NE(encoded(input, 15), widest);
    for (const int max_bits : {8, 4, 0, -1, INT32_MIN}) {
        EXPECT_EQ(encoded(input, max_bits), usual) << max_bits;
    }
    for (const int max_bits : {17, 20, INT32_MAX}) {
        EXPECT_EQ(encoded(input, max_bits), widest) << max_bits;
    }
}

void expect_nothing_without_memory(const Bytes &input, int max_bits)
{
    const Block in = block_of(input);
    for (SystemFunction *function : SystemFunctions{&system_calloc, &system_realloc}) {
        WatchedCall memory(*function);
        const Block whole(lzw_encode(in.get(), max_bits));
        ASSERT_NE(whole, nullptr);
        const long calls = memory.calls();
        ASSERT_GE(calls, 2);
        for (long failing = 1; failing <= calls; failing++) {
            memory.fail(ENOMEM, failing);
            EXPECT_EQ(lzw_encode(in.get(), max_bits), nullptr) << failing;
            EXPECT_EQ(memory.calls(), failing);
        }
    }
}

TEST(LzwEncode, GivesNothingWhenMemoryIsOut)
{
    expect_nothing_without_memory(never_repeating(5000), 12);
    expect_nothing_without_memory(never_repeating(65536 * 3), 16);
}

TEST(LzwEncode, LeavesTheUnusedBytesAlone)
{
    encoded(never_repeating(5000), 9);
    EXPECT_EQ(sizeof lzw, 512u);
    EXPECT_TRUE(std::all_of(lzw, lzw + sizeof lzw, [](uint8_t byte) { return byte == 0; }));
}

} // namespace
