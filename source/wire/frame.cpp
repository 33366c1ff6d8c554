/* SPDX-License-Identifier: MIT */
#include "wire/frame.h"

#include <stdlib.h>
#include <string.h>

#define FRAME_TYPE(value, name, ...) static_assert(FRAME_##name == (value), #name);
#include "protocol/operations.def"

static const uint8_t MAGIC = 0xA5;

uint16_t load_u16(const uint8_t *from)
{
    return static_cast<uint16_t>(from[0] | from[1] << 8);
}

uint32_t load_u32(const uint8_t *from)
{
    return load_u16(from) | static_cast<uint32_t>(load_u16(from + 2)) << 16;
}

void store_u16(uint8_t *to, uint16_t value)
{
    to[0] = static_cast<uint8_t>(value);
    to[1] = static_cast<uint8_t>(value >> 8);
}

void store_u32(uint8_t *to, uint32_t value)
{
    store_u16(to, static_cast<uint16_t>(value));
    store_u16(to + 2, static_cast<uint16_t>(value >> 16));
}

int check_frame(const uint8_t *data, int32_t length)
{
    if (data == nullptr || length < 1) {
        return -1;
    }
    if (length < 2 || data[0] != MAGIC || data[1] != MAGIC) {
        return -21;
    }
    return 0;
}

uint32_t frame_length(const uint8_t *frame)
{
    return load_u32(frame + FRAME_LENGTH_OFFSET);
}

static const uint64_t EVEN_BYTES = 0x00FF00FF00FF00FFU;
static const uint64_t LOW_LANES = 0x0000FFFF0000FFFFU;
static const uint32_t WORDS_AT_ONCE = 128;

/* Sums eight bytes at a time, in four lanes of 16 bits, which WORDS_AT_ONCE cannot overflow. */
static uint32_t sum_of_words(const uint8_t *bytes, uint32_t words)
{
    uint64_t lanes = 0;
    for (uint32_t i = 0; i < words; i++) {
        uint64_t word;
        memcpy(&word, bytes + size_t{8} * i, sizeof word);
        lanes += (word & EVEN_BYTES) + (word >> 8 & EVEN_BYTES);
    }
    lanes = (lanes & LOW_LANES) + (lanes >> 16 & LOW_LANES);
    return static_cast<uint32_t>(lanes) + static_cast<uint32_t>(lanes >> 32);
}

uint32_t frame_sum(const uint8_t *bytes, uint32_t size)
{
    uint32_t total = 0;
    uint32_t done = 0;
    while (size - done >= 8) {
        const uint32_t left = (size - done) / 8;
        const uint32_t words = left < WORDS_AT_ONCE ? left : WORDS_AT_ONCE;
        total += sum_of_words(bytes + done, words);
        done += 8 * words;
    }
    for (; done < size; done++) {
        total += bytes[done];
    }
    return total;
}

/* Zeros need not be summed. */
void frame_complete(uint8_t *frame, uint8_t type, uint32_t size)
{
    const uint32_t end = size - FRAME_OVERHEAD + FRAME_PAYLOAD_OFFSET; /* of the payload */
    memset(frame, MAGIC, FRAME_LENGTH_OFFSET);
    store_u32(frame + FRAME_LENGTH_OFFSET, size);
    memset(frame + FRAME_LENGTH_END, 0, FRAME_BODY_OFFSET - FRAME_LENGTH_END);
    frame[FRAME_BODY_OFFSET] = type;
    memset(frame + end, 0, size - end);
    const uint32_t total = frame_sum(frame, FRAME_LENGTH_END) +
                           frame_sum(frame + FRAME_BODY_OFFSET, end - FRAME_BODY_OFFSET);
    frame[size - 1] = static_cast<uint8_t>(total);
}

Frame frame_build(uint8_t type, const void *payload, int32_t length)
{
    if (payload == nullptr || length < 0 || length > INT32_MAX - FRAME_OVERHEAD) {
        return {nullptr, 0};
    }
    const uint32_t size = static_cast<uint32_t>(length) + FRAME_OVERHEAD;
    uint8_t *bytes = static_cast<uint8_t *>(calloc(1, size));
    if (bytes == nullptr) {
        return {nullptr, 0};
    }
    memcpy(bytes + FRAME_PAYLOAD_OFFSET, payload, static_cast<size_t>(length));
    frame_complete(bytes, type, size);
    return {bytes, size};
}
