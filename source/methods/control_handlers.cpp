/* Keys, steps, modes, switches, pointer and touch. */

#include "methods/handler_shapes.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <limits.h>

/* Two codes share a handler; the second one steps down. */
static int set_step(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
                    const char *handler, uint16_t code_down,
                    int (*TvMethodTable::*slot)(int32_t step))
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, tag, handler);
    const int step = read_u8(&args);
    int (*const set)(int32_t) = host_methods(&args)->*slot;
    return reply_result(cp, &args, set ? set(args.code == code_down ? -step : step) : NO_SLOT);
}

int handle_set_tv_channel(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_step(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 367}, __func__,
                    0x0102, &TvMethodTable::set_tv_channel);
}

int handle_set_tv_volume(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_step(cp, request, length, {2, TAG_U8, "frame_data[2] == 0x02", 428}, __func__,
                    0x0110, &TvMethodTable::set_tv_volume);
}

int handle_set_tv_key(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint32_t key = read_u32(&args);
    skip(&args, 1);
    const uint32_t second = read_u32(&args);
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args, tv->set_tv_key ? tv->set_tv_key(key, second) : NO_SLOT);
}

int handle_set_tv_mode(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_U32, "frame_data[2] == 0x06", 348}, __func__);
    const uint32_t mode = read_u32(&args);
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args, tv->set_tv_mode ? tv->set_tv_mode(mode) : NO_SLOT);
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
    const TvMethodTable *tv = host_methods(&args);
    if (tv->set_tv_mouse) {
        tv->set_tv_mouse(first, second, third);
    }
    return args.failed ? -1 : 0;
}

/* Truncated toward zero; what an int32_t cannot say, not-a-number included, is its maximum. */
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
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args, tv->set_tv_touch ? tv->set_tv_touch(x, y) : NO_SLOT);
}

static int order_kind(uint16_t code)
{
    return code == 0x2006 ? 1 : code == 0x2010 ? 2 : 0;
}

int handle_set_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_U32, "frame_data[2] == 0x06", 659}, __func__);
    const uint16_t first = read_u16(&args);
    const uint16_t second = read_u16(&args);
    const int kind = order_kind(args.code);
    if (kind == 0) {
        return reply_result(cp, &args, 0);
    }
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args,
                        tv->set_tv_order ? tv->set_tv_order(first, second, kind) : NO_SLOT);
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
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args,
                        tv->set_tv_int3 ? tv->set_tv_int3(first, second, third) : NO_SLOT);
}

int handle_set_tv_action1(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_action1);
}

int handle_set_tv_action2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_action2);
}

/* A value of 0 is an empty argument: it never reaches the host. */
int handle_set_tv_code0116(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const uint16_t value = read_u16(&args);
    if (value == 0) {
        return reply_result_as(cp, &args, 0x0116, 0);
    }
    const TvMethodTable *tv = host_methods(&args);
    return reply_result_as(cp, &args, 0x0116,
                           tv->set_tv_code0116 ? tv->set_tv_code0116(value) : NO_SLOT);
}

int handle_set_tv_code0117(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const uint32_t value = read_u32(&args);
    if (value == 0) {
        return reply_result_as(cp, &args, 0x0117, 0);
    }
    const TvMethodTable *tv = host_methods(&args);
    return reply_result_as(cp, &args, 0x0117,
                           tv->set_tv_code0117 ? tv->set_tv_code0117(value) : NO_SLOT);
}
