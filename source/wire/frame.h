/* SPDX-License-Identifier: MIT */
/* Builds frames and reads their fields; little-endian integers for the whole library. */
#pragma once

#include "tvlink/frame.h"

#include <stddef.h>

uint16_t load_u16(const uint8_t *from);
uint32_t load_u32(const uint8_t *from);
void store_u16(uint8_t *to, uint16_t value);
void store_u32(uint8_t *to, uint32_t value);

/* The sum of the bytes, of which a frame's checksum is the low one. */
uint32_t frame_sum(const uint8_t *bytes, uint32_t size);

/* The announced length of a frame of which at least FRAME_LENGTH_END bytes are there. */
uint32_t frame_length(const uint8_t *frame);

/* Bytes on their way. */
struct Frame {
    uint8_t *bytes; /* null: an argument was bad, or memory out */
    uint32_t size;
};

/* A whole frame around a copy of the payload, on the heap. None when the payload is null, its
 * length negative or too large for the length field, or when memory is out. */
Frame frame_build(uint8_t type, const void *payload, int32_t length);

/* Writes all of a frame of this size but its payload, which is there. */
void frame_complete(uint8_t *frame, uint8_t type, uint32_t size);
