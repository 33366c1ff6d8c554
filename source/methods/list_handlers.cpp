/* SPDX-License-Identifier: MIT */
/* The programme guide and the channel lists, which travel compressed, and the order of channels. */

#include "methods/handler_shapes.h"
#include "methods/list_reply.h"
#include "tvlink/handlers.h"

static const uint32_t SEARCH_SIZE = 1024;

static constexpr ListForm EPG = list_form(protocol::OPERATIONS.get_tv_epg);
static constexpr ListForm EPG_WEEK = list_form(protocol::OPERATIONS.get_tv_epgweek);
static constexpr ListForm SEARCH_EPG = list_form(protocol::OPERATIONS.get_tv_searchsimpleepg);
static constexpr ListForm CHANNELS3 = list_form(protocol::OPERATIONS.get_tv_channelcode3);
static constexpr ListForm SIMPLE_EPG = list_form(protocol::OPERATIONS.get_tv_simpleepg);
static constexpr ListForm CHANNELS = list_form(protocol::OPERATIONS.get_tv_channelcode);
static constexpr ListForm CHANNELS2 = list_form(protocol::OPERATIONS.get_tv_channelcode2);

/* Silent without its slot, also for a bad request. */
int handle_get_tv_epg(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_epg);
    const uint8_t selector1 = read_u8(&args);
    skip(&args, 1);
    const uint32_t selector2 = read_u32(&args);
    skip(&args, 1);
    const uint32_t selector3 = read_u32(&args);
    const auto get = host_methods()->get_tv_epg;
    if (get == nullptr) {
        return reply_silence(&args);
    }
    uint16_t count = 0;
    uint32_t unsent = 0;
    uint32_t value = 0;
    void *block =
        args.failed ? nullptr : get(&count, &unsent, selector1, selector2, selector3, &value);
    return reply_list(cp, &args, EPG, count | value << 16, block);
}

int handle_get_tv_epgweek(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_epgweek);
    const uint32_t selector = read_u32(&args);
    uint32_t value = 0;
    void *block = call_slot(&args, &TvMethodTable::get_tv_epgweek, nullptr, selector, &value);
    return reply_list(cp, &args, EPG_WEEK, value, block);
}

int handle_get_tv_searchsimpleepg(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[SEARCH_SIZE];
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_searchsimpleepg);
    const uint32_t size = read_text_into(&args, text, sizeof text);
    uint16_t count = 0;
    uint32_t unsent = 0;
    void *block = call_slot(&args, &TvMethodTable::get_tv_searchsimpleepg, nullptr, text, size,
                            &count, &unsent);
    return reply_list(cp, &args, SEARCH_EPG, count, block, "handle_get_tv_simpleepg");
}

int handle_get_tv_channelcode3(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 4, REPLY_CODE.get_tv_channelcode3);
    const HeapText filter = read_text(&args);
    uint16_t count = 0;
    void *block =
        call_slot(&args, &TvMethodTable::get_tv_channelcode3, nullptr, filter.chars, &count);
    return reply_list(cp, &args, CHANNELS3, count, block);
}

/* ---- Lists that are requested without an argument */

static int get_plain_list(CtrlPoint *cp, uint16_t code, ListForm form,
                          void *(*TvMethodTable::*slot)(uint16_t *count))
{
    RequestReader args = unread_request(code);
    uint16_t count = 0;
    void *block = call_slot(&args, slot, nullptr, &count);
    return reply_list(cp, &args, form, count, block);
}

int handle_get_tv_simpleepg(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_plain_list(cp, REPLY_CODE.get_tv_simpleepg, SIMPLE_EPG,
                          &TvMethodTable::get_tv_simpleepg);
}

int handle_get_tv_channelcode(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_plain_list(cp, REPLY_CODE.get_tv_channelcode, CHANNELS,
                          &TvMethodTable::get_tv_channelcode);
}

int handle_get_tv_channelcode2(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_plain_list(cp, REPLY_CODE.get_tv_channelcode2, CHANNELS2,
                          &TvMethodTable::get_tv_channelcode2);
}

/* ---- The order of channels */

int handle_get_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 3);
    check_tag(&args, {0, 1, "frame_data[0] == 1", 599}, __func__);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_order);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    uint16_t count = 0;
    uint32_t size = 0;
    void *data = get(&count, &size);
    return reply_host_list(cp, &args, count, data, size);
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
    return reply_result(
        cp, &args, call_slot(&args, &TvMethodTable::set_tv_order, NO_SLOT, first, second, kind));
}
