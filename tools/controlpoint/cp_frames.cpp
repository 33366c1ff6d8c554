/* SPDX-License-Identifier: MIT */
#include "cp_frames.h"

#include <cstring>

static uint8_t sum_of(const uint8_t *bytes, size_t size)
{
    uint32_t sum = 0;
    for (size_t i = 0; i < size; i++) {
        sum += bytes[i];
    }
    return static_cast<uint8_t>(sum);
}

CpStatus cp_build_frame(CpBuffer *frame, uint8_t type, const void *payload, size_t size)
{
    CpWriter writer = cp_writer(frame);
    if (size > UINT32_MAX - CP_FRAME_OVERHEAD) {
        cp_writer_fail(&writer, CP_BAD_ARGUMENT);
        return cp_writer_end(&writer);
    }
    if (writer.status == CP_OK) {
        cp_writer_fail(&writer, cp_buffer_reserve(frame, size + CP_FRAME_OVERHEAD));
    }
    cp_put_bytes(&writer, {cp_frame_magic, sizeof cp_frame_magic});
    cp_put_u32(&writer, static_cast<uint32_t>(size + CP_FRAME_OVERHEAD));
    cp_put_zeros(&writer, CP_FRAME_RESERVED);
    cp_put_u8(&writer, type);
    cp_put_bytes(&writer, {static_cast<const uint8_t *>(payload), size});
    cp_put_zeros(&writer, CP_FRAME_TRAILER);
    if (writer.status == CP_OK) {
        cp_put_u8(&writer, sum_of(frame->data, frame->size));
    }
    return cp_writer_end(&writer);
}

const char *cp_check_frame_head(CpBytes head, uint32_t max_frame, uint32_t *length)
{
    CpCursor cursor = cp_cursor(head);
    *length = 0;
    const size_t magic_seen = head.size < sizeof cp_frame_magic ? head.size : sizeof cp_frame_magic;
    const CpBytes magic = cp_take_bytes(&cursor, magic_seen);
    if (magic.size > 0 && memcmp(magic.data, cp_frame_magic, magic.size) != 0) {
        return "bad magic";
    }
    const uint32_t announced = cp_take_u32(&cursor);
    if (cursor.failed) {
        return nullptr;
    }
    if (announced < CP_FRAME_OVERHEAD) {
        return "frame length below 72";
    }
    if (announced > max_frame) {
        return "frame length above the maximum";
    }
    *length = announced;
    return nullptr;
}

const char *cp_open_frame(CpBytes whole, CpFrame *frame)
{
    CpCursor cursor = cp_cursor(whole);
    cp_take_bytes(&cursor, CP_FRAME_HEAD + CP_FRAME_RESERVED);
    frame->type = cp_take_u8(&cursor);
    frame->payload = cp_take_bytes(&cursor, whole.size - CP_FRAME_OVERHEAD);
    cp_take_bytes(&cursor, CP_FRAME_TRAILER);
    const uint8_t checksum = cp_take_u8(&cursor);
    return checksum == sum_of(whole.data, whole.size - 1) ? nullptr : "bad checksum";
}
