/* SPDX-License-Identifier: MIT */
#include "tvlink/host/sized_block.h"

#include "support/system_calls.h"
#include "support/wire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{

constexpr uint32_t MOST = UINT32_MAX - 8; /* bytes behind the header */

/* The two words before the elements. */
uint32_t size_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-2];
}

uint32_t count_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

void release(void *block)
{
    free(static_cast<uint32_t *>(block) - 2);
}

Bytes content(const void *block)
{
    const uint8_t *start = static_cast<const uint8_t *>(block);
    return Bytes(start, start + size_t{size_of(block)} * count_of(block));
}

void *block_of(uint32_t size, uint32_t count, int byte)
{
    void *block = mem_alloc(size, count);
    memset(block, byte, size_t{size} * count);
    return block;
}

TEST(SizedBlock, IsMadeOfZerosBehindSizeAndCount)
{
    void *block = mem_alloc(4, 10);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size_of(block), 4u);
    EXPECT_EQ(count_of(block), 10u);
    EXPECT_EQ(content(block), Bytes(40, 0));
    release(block);
}

TEST(SizedBlock, MayBeEmpty)
{
    for (const auto &[size, count] : std::vector<std::pair<uint32_t, uint32_t>>{
             {4, 0}, {0, 10}, {0, 0}, {UINT32_MAX, 0}, {0, UINT32_MAX}}) {
        void *block = mem_alloc(size, count);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(size_of(block), size);
        EXPECT_EQ(count_of(block), count);
        _clear(block);
        release(block);
    }
}

TEST(SizedBlock, GrowsByZerosAndKeepsWhatItHad)
{
    void *block = block_of(4, 10, 0xAB);
    block = mem_extend(block, 25);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size_of(block), 4u);
    EXPECT_EQ(count_of(block), 25u);
    EXPECT_EQ(hex(content(block)), hex(joined({Bytes(40, 0xAB), Bytes(60, 0)})));
    release(block);
}

TEST(SizedBlock, ShrinksToItsFirstElements)
{
    void *block = block_of(4, 25, 0xAB);
    block = mem_extend(block, 10);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size_of(block), 4u);
    EXPECT_EQ(count_of(block), 10u);
    EXPECT_EQ(hex(content(block)), hex(Bytes(40, 0xAB)));
    release(block);
}

TEST(SizedBlock, HasNothingOldInWhatItGrowsBy)
{
    void *block = block_of(3, 25, 0xAB);
    block = mem_extend(block, 10);
    block = mem_extend(block, 25);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(hex(content(block)), hex(joined({Bytes(30, 0xAB), Bytes(45, 0)})));
    release(block);
}

TEST(SizedBlock, StaysTheSameWhenItsCountDoes)
{
    void *block = block_of(2, 10, 0xAB);
    block = mem_extend(block, 10);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(count_of(block), 10u);
    EXPECT_EQ(hex(content(block)), hex(Bytes(20, 0xAB)));
    release(block);
}

TEST(SizedBlock, GrowsFromNothingAndShrinksToNothing)
{
    void *block = mem_alloc(4, 0);
    block = mem_extend(block, 3);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(content(block), Bytes(12, 0));
    block = mem_extend(block, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size_of(block), 4u);
    EXPECT_EQ(count_of(block), 0u);
    release(block);
}

TEST(SizedBlock, IsClearedWholeAndNotBeyond)
{
    void *block = block_of(4, 10, 0xAB);
    static_cast<uint32_t *>(block)[-1] = 9; /* the last element stands for what lies behind */
    _clear(block);
    EXPECT_EQ(content(block), Bytes(36, 0));
    EXPECT_EQ(static_cast<uint32_t *>(block)[9], 0xABABABABu);
    EXPECT_EQ(size_of(block), 4u);
    release(block);
}

TEST(SizedBlock, IsNotMadeWhenItsSizeDoesNotFit32Bits)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1, 100);
    EXPECT_EQ(mem_alloc(0x10000, 0x10000), nullptr);
    EXPECT_EQ(mem_alloc(UINT32_MAX, UINT32_MAX), nullptr);
    EXPECT_EQ(mem_alloc(0x40000001, 4), nullptr);
    EXPECT_EQ(mem_alloc(UINT32_MAX, 1), nullptr);
    EXPECT_EQ(mem_alloc(1, MOST + 1), nullptr);
    EXPECT_EQ(memory.calls(), 0) << "it is refused only by the lack of memory";
    EXPECT_EQ(mem_alloc(1, MOST), nullptr);
    EXPECT_EQ(mem_alloc(MOST, 1), nullptr);
    EXPECT_EQ(memory.calls(), 2) << "the largest block is refused";
}

TEST(SizedBlock, IsWholeWhenItCannotGrowSoFar)
{
    WatchedCall memory(system_realloc);
    memory.fail(ENOMEM, 1, 100);
    void *block = block_of(4, 10, 0xAB);
    for (const uint32_t count : {0x40000000u, 0x80000000u, UINT32_MAX, MOST / 4 + 1}) {
        EXPECT_EQ(mem_extend(block, count), nullptr) << count;
    }
    EXPECT_EQ(memory.calls(), 0) << "it is refused only by the lack of memory";
    EXPECT_EQ(mem_extend(block, MOST / 4), nullptr);
    EXPECT_EQ(memory.calls(), 1) << "the largest block is refused";
    EXPECT_EQ(size_of(block), 4u);
    EXPECT_EQ(count_of(block), 10u);
    EXPECT_EQ(hex(content(block)), hex(Bytes(40, 0xAB)));
    release(block);
}

TEST(SizedBlock, IsNullOrWholeWhenMemoryIsOut)
{
    WatchedCall making(system_calloc);
    making.fail(ENOMEM);
    EXPECT_EQ(mem_alloc(4, 10), nullptr);
    void *block = block_of(4, 10, 0xAB);
    WatchedCall growing(system_realloc);
    growing.fail(ENOMEM, 1, 2);
    EXPECT_EQ(mem_extend(block, 25), nullptr);
    EXPECT_EQ(mem_extend(block, 5), nullptr);
    EXPECT_EQ(count_of(block), 10u);
    EXPECT_EQ(hex(content(block)), hex(Bytes(40, 0xAB)));
    block = mem_extend(block, 25);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(count_of(block), 25u);
    release(block);
}

} // namespace
