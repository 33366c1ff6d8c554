/* SPDX-License-Identifier: MIT */
/* The entries of lists, and records with the same kinds of fields. */
#include "controlpoint_lists.h"

#include "cp_cursor.h"

#include <cstring>

enum {
    CELL_SIZE = 256,
    CHANNEL_NAME_SIZE = 64,
    CHANNEL_GROUP_SIZE = 32,
    CHANNEL_GUIDE_ID_SIZE = 32,
    CHANNEL_ADDRESS_SIZE = 124,
    FILM_TITLE_SIZE = 128,
    FILM_ADDRESS_SIZE = 136
};

/* A terminated text in a field of fixed size. */
static CpBytes take_field(CpCursor *cursor, size_t size)
{
    const CpBytes field = cp_take_bytes(cursor, size);
    const void *end = field.size == 0 ? nullptr : memchr(field.data, 0, field.size);
    cp_require(cursor, end != nullptr);
    if (end == nullptr) {
        return {nullptr, 0};
    }
    return {field.data, static_cast<size_t>(static_cast<const uint8_t *>(end) - field.data)};
}

static CpBytes take_text16(CpCursor *cursor)
{
    return cp_take_bytes(cursor, cp_take_u16(cursor));
}

/* Ends the decoding of one entry: removes it from the block, or clears it after a failure. */
template <typename Entry> static CpStatus end_entry(CpCursor *cursor, CpBytes *block, Entry *entry)
{
    const CpStatus status = cp_cursor_status(cursor);
    if (status == CP_OK) {
        *block = cp_take_rest(cursor);
    } else {
        *entry = {};
    }
    return status;
}

CpStatus cp_take_channel(CpBytes *block, CpChannel *channel)
{
    if (block == nullptr || channel == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(*block);
    channel->number = cp_take_u16(&cursor);
    cp_take_u16(&cursor); /* reserved */
    channel->name = take_field(&cursor, CHANNEL_NAME_SIZE);
    channel->group = take_field(&cursor, CHANNEL_GROUP_SIZE);
    channel->guide_id = take_field(&cursor, CHANNEL_GUIDE_ID_SIZE);
    channel->address = take_field(&cursor, CHANNEL_ADDRESS_SIZE);
    return end_entry(&cursor, block, channel);
}

CpStatus cp_take_short_channel(CpBytes *block, CpChannel *channel)
{
    if (block == nullptr || channel == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(*block);
    *channel = {};
    channel->number = cp_take_u16(&cursor);
    channel->name = cp_take_bytes(&cursor, cp_take_u8(&cursor));
    return end_entry(&cursor, block, channel);
}

/* An entry begins with its size, so that fields which a later television adds can be skipped. */
static CpCursor take_sized_entry(CpCursor *cursor)
{
    const uint16_t size = cp_take_u16(cursor);
    cp_require(cursor, size >= sizeof size);
    const size_t rest = cursor->failed ? 0 : size - sizeof size;
    return cp_cursor(cp_take_bytes(cursor, rest));
}

CpStatus cp_take_guide_entry(CpBytes *block, CpGuideEntry *entry)
{
    if (block == nullptr || entry == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(*block);
    CpCursor fields = take_sized_entry(&cursor);
    entry->channel = cp_take_u16(&fields);
    entry->start = cp_take_u32(&fields);
    entry->duration = cp_take_u32(&fields);
    entry->title = take_text16(&fields);
    entry->category = take_text16(&fields);
    entry->description = take_text16(&fields);
    cp_require(&cursor, !fields.failed);
    return end_entry(&cursor, block, entry);
}

CpStatus cp_take_text_cell(CpBytes *block, CpBytes *text)
{
    if (block == nullptr || text == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(*block);
    *text = take_field(&cursor, CELL_SIZE);
    return end_entry(&cursor, block, text);
}

CpStatus cp_take_number(CpBytes *block, uint32_t *number)
{
    if (block == nullptr || number == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(*block);
    *number = cp_take_u32(&cursor);
    return end_entry(&cursor, block, number);
}

CpStatus cp_decode_film_status(CpBytes record, CpFilmStatus *status)
{
    if (status == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(record);
    status->state = cp_take_u32(&cursor);
    status->position = cp_take_u32(&cursor);
    status->duration = cp_take_u32(&cursor);
    status->film = cp_take_u32(&cursor);
    status->title = take_field(&cursor, FILM_TITLE_SIZE);
    status->address = take_field(&cursor, FILM_ADDRESS_SIZE);
    const CpStatus result = cp_cursor_end(&cursor);
    if (result != CP_OK) {
        *status = {};
    }
    return result;
}
