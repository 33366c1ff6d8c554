/* Builds frames and reads their fields; little-endian integers for the whole library. */
#pragma once

#include "tvlink/frame.h"

#include <stddef.h>

uint16_t load_u16(const uint8_t *from);
uint32_t load_u32(const uint8_t *from);
void store_u16(uint8_t *to, uint16_t value);
void store_u32(uint8_t *to, uint32_t value);

/* The announced length of a frame of which at least FRAME_LENGTH_END bytes are there. */
uint32_t frame_length(const uint8_t *frame);

/* A whole frame around the payload, on the heap, its size in `size`. Null when the payload is null,
 * its length negative or too large for the length field, or when memory is out. */
uint8_t *frame_build(uint8_t type, const void *payload, int32_t length, uint32_t *size);
