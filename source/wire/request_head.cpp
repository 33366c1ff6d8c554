/* SPDX-License-Identifier: MIT */
#include "wire/request_head.h"

#include "wire/frame.h"

static const uint8_t CALL_METHOD = 1;

/* Where the method code stands in the body; 0: the request has none. */
static uint32_t code_offset(const uint8_t *body, uint32_t length)
{
    switch (body[0]) {
    case FRAME_GET:
        return length > 1 && body[1] == CALL_METHOD ? 2 : 0;
    case FRAME_SET:
    case FRAME_RPC:
        return 1;
    default:
        return 0;
    }
}

IppRequest request_head(const CtrlPoint *peer, const uint8_t *body, uint32_t length)
{
    IppRequest head = {};
    head.peer_addr = peer->peer_addr;
    head.bytes = length + FRAME_BODY_OVERHEAD;
    if (body != nullptr && length > 0) {
        head.type = body[0];
        const uint32_t offset = code_offset(body, length);
        if (offset > 0 && length >= offset + 2) {
            head.has_code = 1;
            head.code = load_u16(body + offset);
        }
    }
    return head;
}

bool request_has_checksum(const uint8_t *frame, uint32_t size)
{
    return frame[size - 1] == static_cast<uint8_t>(frame_sum(frame, size - 1));
}
