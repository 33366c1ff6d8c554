/* SPDX-License-Identifier: MIT */
#include "tvlink/host/sized_block.h"

#include "base/block_header.h"

#include <stdlib.h>
#include <string.h>

namespace
{

struct BlockHeader {
    uint32_t size;
    uint32_t count;
};

} // namespace

static BlockHeader *header_of(void *block)
{
    return static_cast<BlockHeader *>(block) - 1;
}

/* The size of header and elements in bytes; 0 when it exceeds 32 bits. */
static uint32_t whole_size(uint32_t size, uint32_t count)
{
    const uint64_t bytes = static_cast<uint64_t>(size) * count;
    if (bytes > UINT32_MAX - sizeof(BlockHeader)) {
        return 0;
    }
    return static_cast<uint32_t>(bytes + sizeof(BlockHeader));
}

void *mem_alloc(uint32_t size, uint32_t count)
{
    const uint32_t bytes = whole_size(size, count);
    BlockHeader *header = bytes == 0 ? nullptr : static_cast<BlockHeader *>(calloc(1, bytes));
    if (header == nullptr) {
        return nullptr;
    }
    header->size = size;
    header->count = count;
    return header + 1;
}

void *block_resize(void *block, uint32_t count)
{
    BlockHeader *header = header_of(block);
    const uint32_t bytes = whole_size(header->size, count);
    header = bytes == 0 ? nullptr : static_cast<BlockHeader *>(realloc(header, bytes));
    if (header == nullptr) {
        return nullptr;
    }
    header->count = count;
    return header + 1;
}

void *mem_extend(void *block, uint32_t count)
{
    const BlockHeader old = *header_of(block);
    uint8_t *elements = static_cast<uint8_t *>(block_resize(block, count));
    if (elements != nullptr && old.count < count) {
        const size_t kept = static_cast<size_t>(old.size) * old.count;
        memset(elements + kept, 0, static_cast<size_t>(old.size) * (count - old.count));
    }
    return elements;
}

void _clear(void *block)
{
    const BlockHeader *header = header_of(block);
    memset(block, 0, static_cast<size_t>(header->size) * header->count);
}
