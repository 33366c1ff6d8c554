/* SPDX-License-Identifier: MIT */
/* How much room the results of encoder and decoder get. */
#pragma once

#include <stdint.h>

const uint32_t LZW_FIRST_ROOM = 4096;

static inline uint64_t lesser(uint64_t one, uint64_t other)
{
    return one < other ? one : other;
}

/* The room for a result that needs `least` bytes for the first `read` bytes of the input. The rest
 * of the input is expected to need as much in proportion. But one reallocation at most doubles the
 * room, or makes it sixteen times the size of the input, however well the input begins. */
static inline uint64_t lzw_room(uint64_t least, uint64_t read, uint64_t length)
{
    const uint64_t most = length * 16 > least * 2 ? length * 16 : least * 2;
    const uint64_t expected = read == 0 ? 0 : lesser(least * length / read, most);
    return (expected > least ? expected : least) / 8 * 9 + LZW_FIRST_ROOM;
}
