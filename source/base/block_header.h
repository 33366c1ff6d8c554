/* SPDX-License-Identifier: MIT */
/* The two words in front of a sized block. */
#pragma once

#include <stdint.h>
#include <stdlib.h>

inline uint32_t block_count(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

/* As mem_extend(), but what it grows by has no value yet and its pages are not touched. */
void *block_resize(void *block, uint32_t count);

/* Null is allowed. */
inline void block_free(void *block)
{
    free(block == nullptr ? nullptr : static_cast<uint32_t *>(block) - 2);
}
