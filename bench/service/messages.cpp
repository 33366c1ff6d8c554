/* SPDX-License-Identifier: MIT */
#include "messages.h"

#include "tvlink/frame.h"
#include "tvlink/host/sized_block.h"

#include <cstdio>
#include <cstdlib>
#include <numeric>

const char *const EVENT_TEXT = "The volume of the television now";

static constexpr uint32_t CELL_SIZE = 256;

static void append(Bytes *to, size_t number, size_t width)
{
    for (size_t i = 0; i < width; i++) {
        to->push_back(static_cast<uint8_t>(number >> 8 * i));
    }
}

static void append_text(Bytes *to, const std::string &text, size_t length_width)
{
    append(to, text.size(), length_width);
    to->insert(to->end(), text.begin(), text.end());
}

static Bytes frame(uint8_t type, const Bytes &payload)
{
    Bytes bytes(FRAME_LENGTH_OFFSET, 0xA5);
    append(&bytes, payload.size() + FRAME_OVERHEAD, sizeof(uint32_t));
    bytes.resize(FRAME_BODY_OFFSET);
    bytes.push_back(type);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    bytes.resize(payload.size() + FRAME_OVERHEAD);
    bytes.back() = std::accumulate(bytes.begin(), bytes.end(), uint8_t{0});
    return bytes;
}

Bytes key_request()
{
    return frame(FRAME_SET, {0x09, 0x01, 2, 6, 5, 0, 0, 0, 6, 0, 0, 0, 0});
}

Bytes key_reply()
{
    return frame(FRAME_SET_REPLY, {0x09, 0x01, 0});
}

const std::string &long_text()
{
    static const std::string text(LONG_TEXT_SIZE, 't');
    return text;
}

Bytes text_request()
{
    return frame(FRAME_GET, {1, 0x02, 0x40});
}

Bytes text_reply()
{
    Bytes payload = {1, 0x02, 0x40, 8};
    append_text(&payload, long_text(), sizeof(uint16_t));
    return frame(FRAME_GET_REPLY, payload);
}

size_t text_offset()
{
    return text_reply().size() - (FRAME_OVERHEAD - FRAME_PAYLOAD_OFFSET) - LONG_TEXT_SIZE;
}

void *channel_list()
{
    char *block = static_cast<char *>(mem_alloc(1, LIST_SIZE));
    for (uint32_t i = 0; i < LIST_SIZE / CELL_SIZE; i++) {
        std::snprintf(block + i * CELL_SIZE, CELL_SIZE,
                      "%u channel %u group %u http://streams.example/live/%u.ts", i,
                      i * 2654435761U, i % 97, i * 40503U);
    }
    return block;
}

void release_block(void *block)
{
    std::free(static_cast<uint32_t *>(block) - 2);
}

Bytes list_request()
{
    return frame(FRAME_GET, {1, 0x00, 0x30});
}

Bytes event_payload()
{
    Bytes payload;
    append(&payload, EVENT_CODE, sizeof(uint16_t));
    payload.insert(payload.end(), {4, 3});
    append(&payload, EVENT_VALUE, sizeof(uint16_t));
    payload.push_back(8);
    append_text(&payload, EVENT_TEXT, sizeof(uint32_t));
    payload.push_back(0x0C);
    append(&payload, 0, sizeof(uint32_t));
    return payload;
}

Bytes event_frame()
{
    return frame(FRAME_EVENT, event_payload());
}
