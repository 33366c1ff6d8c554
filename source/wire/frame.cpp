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

static uint8_t checksum(const uint8_t *bytes, uint32_t size)
{
    uint32_t sum = 0;
    for (uint32_t i = 0; i < size; i++) {
        sum += bytes[i];
    }
    return static_cast<uint8_t>(sum);
}

uint8_t *frame_build(uint8_t type, const void *payload, int32_t length, uint32_t *size)
{
    if (payload == nullptr || length < 0 || length > INT32_MAX - FRAME_OVERHEAD) {
        return nullptr;
    }
    const uint32_t total = static_cast<uint32_t>(length) + FRAME_OVERHEAD;
    uint8_t *frame = static_cast<uint8_t *>(calloc(1, total));
    if (frame == nullptr) {
        return nullptr;
    }
    memset(frame, MAGIC, FRAME_LENGTH_OFFSET);
    store_u32(frame + FRAME_LENGTH_OFFSET, total);
    frame[FRAME_BODY_OFFSET] = type;
    memcpy(frame + FRAME_PAYLOAD_OFFSET, payload, static_cast<size_t>(length));
    frame[total - 1] = checksum(frame, total);
    *size = total;
    return frame;
}
