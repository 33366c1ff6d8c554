/* The two words in front of a sized block. */
#pragma once

#include <stdint.h>
#include <stdlib.h>

inline uint32_t block_count(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

/* Null is allowed. */
inline void block_free(void *block)
{
    free(block == nullptr ? nullptr : static_cast<uint32_t *>(block) - 2);
}
