/* SPDX-License-Identifier: MIT */
/* Keys, steps, modes, pointer, switches and typed text. */

#include "methods/handler_shapes.h"
#include "tvlink/handlers.h"

#include <limits.h>

static const uint32_t TEXT_SIZE = 256;
static const uint32_t SHORT_TEXT_SIZE = 32;

static constexpr uint16_t CHANNEL_DOWN = protocol::OPERATIONS.set_tv_channel.last_code;
static constexpr uint16_t VOLUME_DOWN = protocol::OPERATIONS.set_tv_volume.last_code;

/* Two codes share a handler; the second one steps down. */
static int set_step(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
                    const char *handler, uint16_t code_down,
                    int (*TvMethodTable::*slot)(int32_t step))
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, tag, handler);
    const int32_t step = read_u8(&args);
    const int32_t signed_step = args.code == code_down ? -step : step;
    return reply_result(cp, &args, call_slot(&args, slot, NO_SLOT, signed_step));
}

int handle_set_tv_channel(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_step(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 367}, __func__,
                    CHANNEL_DOWN, &TvMethodTable::set_tv_channel);
}

int handle_set_tv_volume(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_step(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 428}, __func__,
                    VOLUME_DOWN, &TvMethodTable::set_tv_volume);
}

int handle_set_tv_key(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint32_t key = read_u32(&args);
    skip(&args, 1);
    const uint32_t second = read_u32(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_key, NO_SLOT, key, second));
}

int handle_set_tv_textpair(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char first[TEXT_SIZE];
    char second[SHORT_TEXT_SIZE];
    RequestReader args = set_request(request, length, 4);
    read_text_into(&args, first, sizeof first);
    skip(&args, 1);
    read_text_into(&args, second, sizeof second);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_textpair, NO_SLOT, second, first));
}

int handle_get_tv_text(CtrlPoint *cp, uint8_t *, int32_t)
{
    RequestReader args = unread_request(REPLY_CODE.get_tv_text);
    int (*const get)(char *) = slot_of(&args, &TvMethodTable::get_tv_text);
    if (get == nullptr) {
        return reply_silence(&args);
    }
    char text[TEXT_SIZE + 1] = {}; /* ends in zero, however much the host writes */
    get(text);
    return reply_text(cp, &args, text);
}

int handle_set_tv_mode(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_U32, "frame_data[2] == 0x06", 348}, __func__);
    const uint32_t mode = read_u32(&args);
    return reply_result(cp, &args, call_slot(&args, &TvMethodTable::set_tv_mode, NO_SLOT, mode));
}

int handle_set_tv_powermode(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_u8(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 408}, __func__,
                  &TvMethodTable::set_tv_powermode);
}

int handle_set_tv_mute(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_u8(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 2308}, __func__,
                  &TvMethodTable::set_tv_mute);
}

/* Movements come in quick succession: none is answered. */
int handle_set_tv_mouse(CtrlPoint *, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_POINT, "frame_data[2] == 0xA0", 2264}, __func__);
    const int16_t first = read_i16(&args);
    const int16_t second = read_i16(&args);
    const int16_t third = read_i16(&args);
    call_slot(&args, &TvMethodTable::set_tv_mouse, NO_SLOT, first, second, third);
    return reply_nothing(&args);
}

/* Truncated toward zero; what does not fit an int32_t, not-a-number included, is its maximum. */
static int32_t whole_number(float value)
{
    const float beyond = 2147483648.0F;
    return value >= -beyond && value < beyond ? static_cast<int32_t>(value) : INT32_MAX;
}

int handle_set_tv_touch(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const int32_t x = whole_number(read_f32(&args));
    skip(&args, 1);
    const int32_t y = whole_number(read_f32(&args));
    return reply_result(cp, &args, call_slot(&args, &TvMethodTable::set_tv_touch, NO_SLOT, x, y));
}

int handle_set_tv_searchchannel(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_searchchannel);
}

int handle_set_tv_int3(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint32_t first = read_u32(&args);
    skip(&args, 1);
    const uint32_t second = read_u32(&args);
    skip(&args, 1);
    const uint32_t third = read_u32(&args);
    return reply_result(
        cp, &args, call_slot(&args, &TvMethodTable::set_tv_int3, NO_SLOT, first, second, third));
}

int handle_set_tv_action1(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_action1);
}

int handle_set_tv_action2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_action2);
}

/* ---- Unnamed switches: an empty argument is answered with 0 and never reaches the host. */

int handle_set_tv_code0115(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4, REPLY_CODE.set_tv_code0115);
    const uint16_t value = read_u16(&args);
    skip(&args, 1);
    const HeapText text = read_text(&args);
    if (text.length == 0) {
        return reply_result(cp, &args, 0);
    }
    return reply_result(
        cp, &args, call_slot(&args, &TvMethodTable::set_tv_code0115, NO_SLOT, text.chars, value));
}

int handle_set_tv_code0116(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3, REPLY_CODE.set_tv_code0116);
    const uint16_t value = read_u16(&args);
    if (value == 0) {
        return reply_result(cp, &args, 0);
    }
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_code0116, NO_SLOT, value));
}

int handle_set_tv_code0117(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3, REPLY_CODE.set_tv_code0117);
    const uint32_t value = read_u32(&args);
    if (value == 0) {
        return reply_result(cp, &args, 0);
    }
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_code0117, NO_SLOT, value));
}

int handle_set_tv_code3001(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4, REPLY_CODE.set_tv_code3001);
    const HeapText text = read_text(&args);
    if (text.length == 0) {
        return reply_result(cp, &args, 0);
    }
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_code3001, NO_SLOT, text.chars));
}
