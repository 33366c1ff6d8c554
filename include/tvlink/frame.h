/* SPDX-License-Identifier: MIT */
/* The frame: what every message on a control connection is wrapped in. */
#ifndef TVLINK_FRAME_H
#define TVLINK_FRAME_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

enum {
    FRAME_LENGTH_OFFSET = 3, /* 4 bytes, little-endian: the whole frame */
    FRAME_LENGTH_END = 7,    /* the length field is known from here on */
    FRAME_BODY_OFFSET = 50,  /* the type byte, then the payload */
    FRAME_PAYLOAD_OFFSET = 51,
    FRAME_OVERHEAD = 72,     /* bytes of a frame with an empty payload */
    FRAME_BODY_OVERHEAD = 71 /* frame length less body length */
};

enum {
    FRAME_GET = 0x05,
    FRAME_GET_REPLY = 0x06,
    FRAME_SET = 0x07,
    FRAME_SET_REPLY = 0x08,
    FRAME_EVENT = 0x09,
    FRAME_NO_OP = 0x0A,
    FRAME_RPC = 0x21,
    FRAME_RPC_REPLY = 0x22,
    FRAME_HEARTBEAT = 0xEE
};

/* The one check of a received frame: its first two bytes. Returns 0; -1 for a null pointer or a
 * length below 1; -21 when byte 0 or byte 1 is not 0xA5, or the length is 1: there is no byte 1 to
 * read. Any thread. */
TVLINK_API int check_frame(const uint8_t *data, int32_t length);

TVLINK_END

#endif
