/* SPDX-License-Identifier: MIT */
/* Reads received bytes sequentially; no other code reads them by position. */
#ifndef CP_CURSOR_H
#define CP_CURSOR_H

#include "controlpoint.h"

/* The first read beyond the end sets `failed`; every later read returns zero or no bytes, so that a
 * decoder reads all its fields and then checks once. */
struct CpCursor {
    CpBytes bytes;
    size_t at;
    bool failed;
};

CpCursor cp_cursor(CpBytes bytes);
uint8_t cp_take_u8(CpCursor *cursor);
uint16_t cp_take_u16(CpCursor *cursor);
uint32_t cp_take_u32(CpCursor *cursor);
CpBytes cp_take_bytes(CpCursor *cursor, size_t size);
CpBytes cp_take_rest(CpCursor *cursor);

/* Fails the cursor unless `condition` holds. */
void cp_require(CpCursor *cursor, bool condition);

/* CP_OK when nothing failed, else CP_PROTOCOL. */
CpStatus cp_cursor_status(const CpCursor *cursor);

/* As cp_cursor_status; remaining bytes are a failure, too. */
CpStatus cp_cursor_end(CpCursor *cursor);

#endif
