/* The media player. */

#include "methods/handler_shapes.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

/* ---- Questions: silent without their slot. */

int handle_get_play_status(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, 0x1501, &TvMethodTable::get_play_status);
}

int handle_get_play_position(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, 0x1502, &TvMethodTable::get_play_position);
}

int handle_get_play_duration(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, 0x1503, &TvMethodTable::get_play_duration);
}

/* ---- Orders */

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
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args, tv->set_play_seek ? tv->set_play_seek(position) : NO_SLOT);
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
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(
        cp, &args, tv->set_play_operation ? tv->set_play_operation(args.code, value) : NO_SLOT);
}

/* Reserved: not even an answer. */
int handle_set_play_speed(CtrlPoint *, uint8_t *, int32_t)
{
    return 0;
}

/* The address is the slot's to free; nothing is answered when there is no memory for it. */
int handle_set_play_addr(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_STRING, "frame_data[2]==0x08", 2459}, __func__);
    const RequestText text = read_text(&args);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->set_play_addr == nullptr) {
        return reply_result(cp, &args, NO_SLOT);
    }
    char *address = copy_text(&text);
    return address == nullptr ? -1 : reply_result(cp, &args, tv->set_play_addr(address));
}

int handle_set_play_addr2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    check_tag(&args, {3, TAG_STRING, "frame_data[3]==0x08", 2508}, __func__);
    const HeapText address = read_text_copy(&args);
    skip(&args, 1);
    const HeapText data = read_copy(&args, read_u32(&args));
    skip(&args, 1);
    const uint8_t option = read_u8(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->set_play_addr2
                           ? tv->set_play_addr2(address.chars, data.chars, data.length, option)
                           : NO_SLOT;
    free(data.chars);
    free(address.chars);
    return reply_result(cp, &args, result);
}
