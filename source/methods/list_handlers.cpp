/* The programme guide and the channel lists, which travel compressed. */

#include "methods/list_reply.h"
#include "methods/method_table.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

static const uint32_t SEARCH_SIZE = 1024;

/*                              code    tag              tag when empty  count words  bits  dump */
static const ListForm EPG = {0x2000, TAG_LZW_LIST2, TAG_LZW_LIST2, 4, 12, nullptr};
static const ListForm EPG_WEEK = {0x2002, TAG_LZW_LIST2, TAG_LZW_LIST2, 4, 9, nullptr};
static const ListForm SIMPLE_EPG = {0x2001, TAG_GUIDE_LIST, TAG_GUIDE_LIST, 2, 12, nullptr};
static const ListForm SEARCH_EPG = {0x2003, TAG_GUIDE_LIST,           TAG_GUIDE_LIST, 2,
                                    12,     "handle_get_tv_simpleepg"};
static const ListForm CHANNELS = {0x3000, TAG_LZW_LIST, TAG_GUIDE_LIST, 2, 12, nullptr};
static const ListForm CHANNELS2 = {0x3002, TAG_LZW_LIST, TAG_GUIDE_LIST, 2, 12, nullptr};
static const ListForm CHANNELS3 = {0x4016, TAG_LZW_LIST, TAG_GUIDE_LIST, 2, 12, nullptr};

/* Without its slot this one is silent, whatever the request. */
int handle_get_tv_epg(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector1 = read_u8(&args);
    skip(&args, 1);
    const uint32_t selector2 = read_u32(&args);
    skip(&args, 1);
    const uint32_t selector3 = read_u32(&args);
    const TvMethodTable *tv = host_methods();
    if (tv->get_tv_epg == nullptr || !args.has_code) {
        return -1;
    }
    if (args.failed) {
        return reply_empty_list(cp, EPG.code, EPG.empty_tag);
    }
    uint16_t count = 0;
    uint32_t unsent = 0;
    uint32_t value = 0;
    void *block = tv->get_tv_epg(&count, &unsent, selector1, selector2, selector3, &value);
    return reply_list(cp, &EPG, count | value << 16, block);
}

int handle_get_tv_epgweek(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint32_t selector = read_u32(&args);
    const TvMethodTable *tv = host_methods(&args);
    uint32_t value = 0;
    void *block = tv->get_tv_epgweek ? tv->get_tv_epgweek(selector, &value) : nullptr;
    return args.has_code ? reply_list(cp, &EPG_WEEK, value, block) : -1;
}

int handle_get_tv_searchsimpleepg(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[SEARCH_SIZE];
    RequestReader args = get_request(request, length, 5);
    const uint16_t size = read_text_into(&args, text, sizeof text);
    const TvMethodTable *tv = host_methods(&args);
    uint16_t count = 0;
    uint32_t unsent = 0;
    void *block = tv->get_tv_searchsimpleepg
                      ? tv->get_tv_searchsimpleepg(text, size, &count, &unsent)
                      : nullptr;
    return args.has_code ? reply_list(cp, &SEARCH_EPG, count, block) : -1;
}

int handle_get_tv_channelcode3(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 4);
    const HeapText filter = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    uint16_t count = 0;
    void *block = tv->get_tv_channelcode3 ? tv->get_tv_channelcode3(filter.chars, &count) : nullptr;
    free(filter.chars);
    return args.has_code ? reply_list(cp, &CHANNELS3, count, block) : -1;
}

/* ---- Lists that are asked for without an argument */

static int answer_plain(CtrlPoint *cp, const ListForm *form,
                        void *(*TvMethodTable::*slot)(uint16_t *count))
{
    void *(*const list)(uint16_t *) = host_methods()->*slot;
    uint16_t count = 0;
    void *block = list ? list(&count) : nullptr;
    return reply_list(cp, form, count, block);
}

int handle_get_tv_simpleepg(CtrlPoint *cp, uint8_t *, int32_t)
{
    return answer_plain(cp, &SIMPLE_EPG, &TvMethodTable::get_tv_simpleepg);
}

int handle_get_tv_channelcode(CtrlPoint *cp, uint8_t *, int32_t)
{
    return answer_plain(cp, &CHANNELS, &TvMethodTable::get_tv_channelcode);
}

int handle_get_tv_channelcode2(CtrlPoint *cp, uint8_t *, int32_t)
{
    return answer_plain(cp, &CHANNELS2, &TvMethodTable::get_tv_channelcode2);
}
