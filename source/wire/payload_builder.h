/* SPDX-License-Identifier: MIT */
/* Builds the payload of a reply or an event: the one place that writes what a phone receives. */
#pragma once

#include "protocol/tags.h"
#include "wire/frame.h"

#include <stdint.h>

/* On the heap, with room for the rest of its frame around it, so that it is sent without a copy. */
struct PayloadBuilder {
    uint8_t *bytes; /* null when memory is out: what is put is dropped, sending fails */
    uint32_t size;
    uint32_t at;
};

/* The longest payload that a frame holds. */
const uint32_t PAYLOAD_MAX = INT32_MAX - FRAME_OVERHEAD;

/* Makes room for `size` bytes, all zero; none above PAYLOAD_MAX. */
PayloadBuilder payload_begin(uint64_t size);

/* The frame of this type around the payload; it lives as long as the payload. */
Frame payload_frame(const PayloadBuilder *payload, uint8_t type);

void payload_free(PayloadBuilder *payload);

/* A zeroed buffer in which a host writes a text of at most `size` bytes, and one more byte; null
 * when memory is out. payload_of_lent_text() sends it, payload_lent_free() drops it. */
char *payload_lend_text(uint32_t size);
PayloadBuilder payload_of_lent_text(uint16_t code, char *text);
void payload_lent_free(char *text);

/* A reply of one attribute whose value has `value_size` bytes; what comes next is the value. */
PayloadBuilder payload_begin_value(uint16_t code, uint8_t tag, uint64_t value_size);

void put_u8(PayloadBuilder *payload, uint8_t value);
void put_u16(PayloadBuilder *payload, uint16_t value);
void put_u32(PayloadBuilder *payload, uint32_t value);

/* Null bytes leave zeros. */
void put_bytes(PayloadBuilder *payload, const void *bytes, uint32_t count);

/* Tag, 4-byte length and bytes. */
void put_block(PayloadBuilder *payload, uint8_t tag, const void *bytes, uint32_t count);

/* Attribute id and tag. */
void put_attribute(PayloadBuilder *payload, uint16_t id, uint8_t tag);

/* 2-byte length and characters, cut at 65,535. */
void put_text(PayloadBuilder *payload, const char *text);
uint32_t text_size(const char *text);

/* Text, or 4-byte length and bytes. Null bytes with a size above 0 cannot be built. */
PayloadBuilder payload_of_text(uint16_t code, const char *text);
PayloadBuilder payload_of_block(uint16_t code, uint8_t tag, const void *bytes, uint64_t size);
