/* SPDX-License-Identifier: MIT */
/* The layout of one frame: magic (3), length (4), reserved (43), type (1), payload, reserved (20),
 * checksum (1). */
#ifndef CP_FRAMES_H
#define CP_FRAMES_H

#include "cp_cursor.h"
#include "cp_writer.h"

enum {
    CP_FRAME_HEAD = 7, /* magic and length */
    CP_FRAME_RESERVED = 43,
    CP_FRAME_TRAILER = 20
};

inline constexpr uint8_t cp_frame_magic[3] = {0xA5, 0xA5, 0xA5};

/* Checks the first bytes of a frame, however few there are. Returns a static text for cp_problem,
 * or null; `*length` is then the length of the whole frame, or 0 while it is unknown. */
const char *cp_check_frame_head(CpBytes head, uint32_t max_frame, uint32_t *length);

/* Decodes a complete frame with a checked head. Returns a static text for cp_problem, or null. */
const char *cp_open_frame(CpBytes whole, CpFrame *frame);

#endif
