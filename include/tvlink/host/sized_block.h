/* SPDX-License-Identifier: MIT */
/* Heap blocks that store their element size and count.
 *
 * Two 32-bit words stand immediately before the pointer that callers hold: element size in bytes,
 * then element count. A block is released by freeing the address of its header:
 *
 *     free((uint32_t *)block - 2);
 *
 * No locks, any thread; the caller serialises the use of one block. */
#ifndef TVLINK_HOST_SIZED_BLOCK_H
#define TVLINK_HOST_SIZED_BLOCK_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* A zero-filled block; null when memory is out or size x count does not fit. */
TVLINK_API void *mem_alloc(uint32_t size, uint32_t count);

/* Changes the element count of the block and returns its new address; the old pointer is invalid.
 * Elements up to the smaller count keep their values, new ones are zero. Null when memory is out or
 * the size does not fit: then the old block is unchanged and still the caller's. */
TVLINK_API void *mem_extend(void *block, uint32_t count);

/* Zero-fills the whole block. */
TVLINK_API void _clear(void *block);

TVLINK_END

#endif
