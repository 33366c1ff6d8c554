/* Heap blocks that remember their element size and count.
 *
 * Two 32-bit words stand immediately before the pointer that callers hold: element size in bytes,
 * then element count. A block is released by freeing the address of its header:
 *
 *     free((uint32_t *)block - 2);
 *
 * No locks, any thread; serialising the use of one block is the caller's business. */
#ifndef TVLINK_HOST_SIZED_BLOCK_H
#define TVLINK_HOST_SIZED_BLOCK_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* A zero-filled block; null when memory is out or size x count does not fit. */
TVLINK_API void *mem_alloc(uint32_t size, uint32_t count);

/* Gives the block a new element count and returns its new place; the old pointer is dead. Elements
 * kept keep their values, new ones are zero. Null when memory is out or the size does not fit: then
 * the old block is whole and still the caller's. */
TVLINK_API void *mem_extend(void *block, uint32_t count);

/* Zero-fills the whole block. */
TVLINK_API void _clear(void *block);

TVLINK_END

#endif
