/* SPDX-License-Identifier: MIT */
#include "cp_cursor.h"

CpCursor cp_cursor(CpBytes bytes)
{
    return {bytes, 0, bytes.data == nullptr && bytes.size > 0};
}

CpBytes cp_take_bytes(CpCursor *cursor, size_t size)
{
    if (cursor->failed || size > cursor->bytes.size - cursor->at) {
        cursor->failed = true;
        return {nullptr, 0};
    }
    if (size == 0) {
        return {nullptr, 0};
    }
    const CpBytes taken = {cursor->bytes.data + cursor->at, size};
    cursor->at += size;
    return taken;
}

/* A little-endian number of `width` bytes. */
static uint32_t take_number(CpCursor *cursor, size_t width)
{
    const CpBytes taken = cp_take_bytes(cursor, width);
    uint32_t number = 0;
    for (size_t i = taken.size; i > 0; i--) {
        number = number << 8 | taken.data[i - 1];
    }
    return number;
}

uint8_t cp_take_u8(CpCursor *cursor)
{
    return static_cast<uint8_t>(take_number(cursor, 1));
}

uint16_t cp_take_u16(CpCursor *cursor)
{
    return static_cast<uint16_t>(take_number(cursor, 2));
}

uint32_t cp_take_u32(CpCursor *cursor)
{
    return take_number(cursor, 4);
}

CpBytes cp_take_rest(CpCursor *cursor)
{
    return cp_take_bytes(cursor, cursor->bytes.size - cursor->at);
}

void cp_require(CpCursor *cursor, bool condition)
{
    if (!condition) {
        cursor->failed = true;
    }
}

CpStatus cp_cursor_status(const CpCursor *cursor)
{
    return cursor->failed ? CP_PROTOCOL : CP_OK;
}

CpStatus cp_cursor_end(CpCursor *cursor)
{
    cp_require(cursor, cursor->at == cursor->bytes.size);
    return cp_cursor_status(cursor);
}
