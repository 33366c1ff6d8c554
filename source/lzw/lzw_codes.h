/* What both directions agree on. */
#pragma once

#include <stdint.h>
#include <stdlib.h>

const uint32_t LZW_CLEAR = 256;     /* the table is empty again, and codes have 9 bits */
const uint32_t LZW_END = 257;       /* the last code of every stream */
const uint32_t LZW_FIRST = 258;     /* the first code of a string of two or more bytes */
const uint32_t LZW_FIRST_WIDTH = 9; /* bits of a code when the table is empty */
const uint32_t LZW_WIDEST = 16;     /* bits of the widest code that stands for a string */

/* The second word of a sized block's header. */
static inline uint32_t lzw_block_count(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

static inline void lzw_block_free(void *block)
{
    if (block != nullptr) {
        free(static_cast<uint32_t *>(block) - 2);
    }
}
