/* SPDX-License-Identifier: MIT */
/* The media player. */

#include "methods/handler_shapes.h"
#include "tvlink/handlers.h"

/* ---- Queries: silent without their slot. */

int handle_get_play_status(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, REPLY_CODE.get_play_status, &TvMethodTable::get_play_status);
}

int handle_get_play_position(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, REPLY_CODE.get_play_position, &TvMethodTable::get_play_position);
}

int handle_get_play_duration(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, REPLY_CODE.get_play_duration, &TvMethodTable::get_play_duration);
}

/* ---- Commands */

int handle_set_play_start(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_play_start);
}

int handle_set_play_pause(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_play_pause);
}

int handle_set_play_stop(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_play_stop);
}

int handle_set_play_seek(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const int32_t position = read_i32(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_play_seek, NO_SLOT, position));
}

int handle_set_play_volume(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_u8(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 2443}, __func__,
                  &TvMethodTable::set_play_volume);
}

int handle_set_play_operation(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_I32, "frame_data[2] == 0x05", 2575}, __func__);
    const int32_t value = read_i32(&args);
    return reply_result(
        cp, &args, call_slot(&args, &TvMethodTable::set_play_operation, NO_SLOT, args.code, value));
}

/* Reserved: no reply at all. */
int handle_set_play_speed(CtrlPoint *, uint8_t *, int32_t)
{
    return 0;
}

/* The slot owns the address. Silent when there is no memory for it. */
int handle_set_play_addr(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_STRING, "frame_data[2]==0x08", 2459}, __func__);
    int (*const play)(char *) = slot_of(&args, &TvMethodTable::set_play_addr);
    if (play == nullptr) {
        skip_text(&args);
        return reply_result(cp, &args, NO_SLOT);
    }
    read_text(&args);
    if (args.out_of_memory) {
        return reply_silence(&args);
    }
    return reply_result(cp, &args, args.failed ? NO_SLOT : play(give_copy(&args)));
}

int handle_set_play_addr2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    check_tag(&args, {3, TAG_STRING, "frame_data[3]==0x08", 2508}, __func__);
    const HeapText address = read_text(&args);
    skip(&args, 1);
    const HeapText data = read_bytes(&args, read_u32(&args));
    skip(&args, 1);
    const uint8_t option = read_u8(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_play_addr2, NO_SLOT, address.chars,
                                  data.chars, data.length, option));
}
