/* SPDX-License-Identifier: MIT */
/* Sized blocks that tests of the codec hand in and get back. */
#pragma once

#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include "support/wire.h"

#include <cstdlib>
#include <cstring>
#include <memory>

struct BlockRelease {
    void operator()(void *block) const
    {
        free(static_cast<uint32_t *>(block) - 2);
    }
};
using Block = std::unique_ptr<void, BlockRelease>;

inline uint32_t element_size(const void *block)
{
    return static_cast<const uint32_t *>(block)[-2];
}

inline uint32_t element_count(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

inline Block block_of(const Bytes &content)
{
    Block block(mem_alloc(1, static_cast<uint32_t>(content.size())));
    if (!content.empty()) {
        memcpy(block.get(), content.data(), content.size());
    }
    return block;
}

/* As many bytes as the block's count says. */
inline Bytes counted_bytes(const void *block)
{
    const uint8_t *start = static_cast<const uint8_t *>(block);
    return Bytes(start, start + element_count(block));
}

inline Bytes encoded(const Bytes &input, int max_bits)
{
    const Block result(lzw_encode(block_of(input).get(), max_bits));
    return result == nullptr ? Bytes() : counted_bytes(result.get());
}

inline Bytes text_bytes(const std::string &text)
{
    return Bytes(text.begin(), text.end());
}
