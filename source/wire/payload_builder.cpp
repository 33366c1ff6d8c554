/* SPDX-License-Identifier: MIT */
#include "wire/payload_builder.h"

#include "wire/frame.h"

#include <stdlib.h>
#include <string.h>

/* What is in front of a payload in its block: its frame's header, and bytes that align the text of
 * an answer as malloc aligns. */
static const uint32_t HEADER_OF_TEXT = 6; /* 1, code, tag, length */
static const uint32_t TEXT_OFFSET = 64;
static const uint32_t PAYLOAD_OFFSET = TEXT_OFFSET - HEADER_OF_TEXT;
static const uint32_t TRAILER = FRAME_OVERHEAD - FRAME_PAYLOAD_OFFSET;

PayloadBuilder payload_begin(uint64_t size)
{
    PayloadBuilder payload = {nullptr, 0, 0};
    if (size <= PAYLOAD_MAX) {
        const size_t block_size = PAYLOAD_OFFSET + static_cast<size_t>(size) + TRAILER;
        uint8_t *block = static_cast<uint8_t *>(calloc(1, block_size));
        payload.bytes = block == nullptr ? nullptr : block + PAYLOAD_OFFSET;
        payload.size = static_cast<uint32_t>(size);
    }
    return payload;
}

Frame payload_frame(const PayloadBuilder *payload, uint8_t type)
{
    if (payload->bytes == nullptr) {
        return {nullptr, 0};
    }
    const Frame frame = {payload->bytes - FRAME_PAYLOAD_OFFSET, payload->size + FRAME_OVERHEAD};
    frame_complete(frame.bytes, type, frame.size);
    return frame;
}

void payload_free(PayloadBuilder *payload)
{
    if (payload->bytes != nullptr) {
        free(payload->bytes - PAYLOAD_OFFSET);
        payload->bytes = nullptr;
    }
}

char *payload_lend_text(uint32_t size)
{
    char *block = static_cast<char *>(calloc(1, TEXT_OFFSET + size_t{size} + 1 + TRAILER));
    return block == nullptr ? nullptr : block + TEXT_OFFSET;
}

void payload_lent_free(char *text)
{
    if (text != nullptr) {
        free(text - TEXT_OFFSET);
    }
}

/* Where the next `count` bytes go; null when there is no room for them. */
static uint8_t *room_for(PayloadBuilder *payload, uint32_t count)
{
    if (payload->bytes == nullptr || count > payload->size - payload->at) {
        return nullptr;
    }
    uint8_t *to = payload->bytes + payload->at;
    payload->at += count;
    return to;
}

void put_u8(PayloadBuilder *payload, uint8_t value)
{
    uint8_t *to = room_for(payload, 1);
    if (to != nullptr) {
        to[0] = value;
    }
}

void put_u16(PayloadBuilder *payload, uint16_t value)
{
    uint8_t *to = room_for(payload, 2);
    if (to != nullptr) {
        store_u16(to, value);
    }
}

void put_u32(PayloadBuilder *payload, uint32_t value)
{
    uint8_t *to = room_for(payload, 4);
    if (to != nullptr) {
        store_u32(to, value);
    }
}

void put_bytes(PayloadBuilder *payload, const void *bytes, uint32_t count)
{
    uint8_t *to = room_for(payload, count);
    if (to != nullptr && bytes != nullptr && count > 0) {
        memcpy(to, bytes, count);
    }
}

void put_block(PayloadBuilder *payload, uint8_t tag, const void *bytes, uint32_t count)
{
    put_u8(payload, tag);
    put_u32(payload, count);
    put_bytes(payload, bytes, count);
}

void put_attribute(PayloadBuilder *payload, uint16_t id, uint8_t tag)
{
    put_u16(payload, id);
    put_u8(payload, tag);
}

/* What every reply of one attribute begins with. */
static void put_value_header(PayloadBuilder *payload, uint16_t code, uint8_t tag)
{
    put_u8(payload, 1);
    put_attribute(payload, code, tag);
}

PayloadBuilder payload_begin_value(uint16_t code, uint8_t tag, uint64_t value_size)
{
    PayloadBuilder payload = payload_begin(value_size + 4);
    put_value_header(&payload, code, tag);
    return payload;
}

static uint16_t sent_length(const char *text)
{
    return static_cast<uint16_t>(strnlen(text, UINT16_MAX));
}

uint32_t text_size(const char *text)
{
    return sent_length(text) + 2U;
}

void put_text(PayloadBuilder *payload, const char *text)
{
    const uint16_t length = sent_length(text);
    put_u16(payload, length);
    put_bytes(payload, text, length);
}

PayloadBuilder payload_of_text(uint16_t code, const char *text)
{
    PayloadBuilder payload = payload_begin_value(code, TAG_STRING, text_size(text));
    put_text(&payload, text);
    return payload;
}

PayloadBuilder payload_of_lent_text(uint16_t code, char *text)
{
    const uint16_t length = sent_length(text);
    PayloadBuilder payload = {reinterpret_cast<uint8_t *>(text) - HEADER_OF_TEXT,
                              HEADER_OF_TEXT + length, 0};
    put_value_header(&payload, code, TAG_STRING);
    put_u16(&payload, length);
    return payload;
}

PayloadBuilder payload_of_block(uint16_t code, uint8_t tag, const void *bytes, uint64_t size)
{
    if (bytes == nullptr && size > 0) {
        return {nullptr, 0, 0};
    }
    PayloadBuilder payload = payload_begin_value(code, tag, size + 4);
    put_u32(&payload, static_cast<uint32_t>(size));
    put_bytes(&payload, bytes, static_cast<uint32_t>(size));
    return payload;
}
