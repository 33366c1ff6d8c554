/* The layout of one frame: magic (3), length (4), reserved (43), type (1), payload, reserved (20),
 * checksum (1). */
#ifndef CP_FRAMES_H
#define CP_FRAMES_H

#include "cp_cursor.h"
#include "cp_writer.h"

enum {
    CP_FRAME_HEAD = 7, /* magic and length: what must be there to know a frame's length */
    CP_FRAME_RESERVED = 43,
    CP_FRAME_TRAILER = 20
};

inline constexpr uint8_t cp_frame_magic[3] = {0xA5, 0xA5, 0xA5};

/* Looks at a frame's first bytes, as many as are there. Gives what is wrong with them, or null;
 * `length` is then the frame's whole length, or 0 while it is not known. */
const char *cp_check_frame_head(CpBytes head, uint32_t max_frame, uint32_t *length);

/* Opens a whole frame whose head was checked. Gives what is wrong with it, or null. */
const char *cp_open_frame(CpBytes whole, CpFrame *frame);

#endif
