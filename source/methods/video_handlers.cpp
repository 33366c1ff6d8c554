/* Video on demand: what it shows, and typed values for it. */

#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <stddef.h>
#include <stdlib.h>

static const uint32_t CELL_SIZE = 256;
static const uint32_t STATUS_SIZE = 280;
static const uint32_t QUERY_SIZE = 2560;
static const uint32_t VALUE_TEXT_SIZE = 1024;

/* ---- Texts. Null is the host's way to say that it has none. */

static int send_text(CtrlPoint *cp, const RequestReader *args, char *text)
{
    if (text == nullptr) {
        return reply_empty_to(cp, args);
    }
    PayloadBuilder reply = payload_of_text(args->code, text);
    reply_dump(&reply, "handle_get_tv_vodstr");
    free(text);
    return reply_send_or_empty(cp, &reply, args->code);
}

int handle_get_tv_vodstr(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    const TvMethodTable *tv = host_methods(&args);
    return send_text(cp, &args, tv->get_tv_vodstr ? tv->get_tv_vodstr(selector) : nullptr);
}

int handle_get_tv_vodstr2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    read_text_into(&args, text, sizeof text);
    const TvMethodTable *tv = host_methods(&args);
    return send_text(cp, &args, tv->get_tv_vodstr2 ? tv->get_tv_vodstr2(selector, text) : nullptr);
}

/* ---- The status record. A host may fill it as a structure of its own, so it is aligned as memory
 * from malloc is. */

/* The reply names the first of the two operations, whichever was asked. */
static int send_status(CtrlPoint *cp, const RequestReader *args, int result, const char *record)
{
    if (result <= 0) {
        return reply_empty_to(cp, args);
    }
    PayloadBuilder reply = payload_of_block(0x200F, TAG_RECORD, record, STATUS_SIZE);
    reply_dump(&reply, "handle_get_tv_vodstatus");
    return reply_send_or_empty(cp, &reply, args->code);
}

int handle_get_tv_vodstatus(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    alignas(max_align_t) char record[STATUS_SIZE + 1] = {};
    const RequestReader args = get_request(request, length, 3);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->get_tv_vodstatus ? tv->get_tv_vodstatus(record) : NO_SLOT;
    return send_status(cp, &args, result, record);
}

int handle_get_tv_vodstatus2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    alignas(max_align_t) char record[STATUS_SIZE + 1] = {};
    RequestReader args = get_request(request, length, 4);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->get_tv_vodstatus2 ? tv->get_tv_vodstatus2(text.chars, record) : NO_SLOT;
    free(text.chars);
    return send_status(cp, &args, result, record);
}

/* ---- Arrays, which the host has put on the heap. Counts that no reply can hold, -1 among them,
 * are answered with the empty reply. */

static int send_integers(CtrlPoint *cp, uint16_t code, uint32_t *integers, uint32_t count)
{
    PayloadBuilder reply = payload_of_block(code, TAG_BLOB, integers, uint64_t{count} * 4);
    reply_dump(&reply, "handle_get_tv_vodintarray");
    free(integers);
    return reply_send_or_empty(cp, &reply, code);
}

int handle_get_tv_vodintarray(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    const RequestReader args = get_request(request, length, 3);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodintarray == nullptr) {
        return reply_empty_to(cp, &args);
    }
    uint32_t count = 0;
    uint32_t *integers = tv->get_tv_vodintarray(&count);
    return send_integers(cp, args.code, integers, count);
}

int handle_get_tv_vodintarray2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 5);
    read_text_into(&args, text, sizeof text);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodintarray2 == nullptr) {
        return reply_empty_to(cp, &args);
    }
    uint32_t count = 0;
    uint32_t *integers = tv->get_tv_vodintarray2(&count, text);
    return send_integers(cp, args.code, integers, count);
}

static int send_cells(CtrlPoint *cp, uint16_t code, void *cells, uint32_t count)
{
    PayloadBuilder reply = payload_of_block(code, TAG_BLOB, cells, uint64_t{count} * CELL_SIZE);
    free(cells);
    return reply_send_or_empty(cp, &reply, code);
}

int handle_get_tv_vodarraystring(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    const RequestReader args = get_request(request, length, 3);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodarraystring == nullptr) {
        return reply_empty_as(cp, &args, 0x2011);
    }
    uint32_t count = 0;
    void *cells = tv->get_tv_vodarraystring(&count);
    return send_cells(cp, 0x2011, cells, count);
}

int handle_get_tv_vodarraystring2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 4);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodarraystring2 == nullptr) {
        free(text.chars);
        return reply_empty_to(cp, &args);
    }
    uint32_t count = 0;
    void *cells = tv->get_tv_vodarraystring2(text.chars, &count);
    free(text.chars);
    return send_cells(cp, args.code, cells, count);
}

/* ---- The state of the player */

int handle_get_tv_vodplayer(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    const RequestReader args = get_request(request, length, 3);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodplayer == nullptr) {
        return reply_empty_as(cp, &args, 0x2018);
    }
    return reply_u32(cp, 0x2018, static_cast<uint32_t>(tv->get_tv_vodplayer()));
}

int handle_get_tv_vodplayer_v2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_vodplayer_v2 == nullptr) {
        free(text.chars);
        return reply_empty_as(cp, &args, 0x401E);
    }
    const int state = tv->get_tv_vodplayer_v2(text.chars);
    free(text.chars);
    return reply_u32(cp, 0x401E, static_cast<uint32_t>(state));
}

/* The three lengths come first, then the three texts. */
int handle_get_startplayer(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint16_t length1 = read_u16(&args);
    const uint16_t length2 = read_u16(&args);
    const uint16_t length3 = read_u16(&args);
    const HeapText text1 = read_copy(&args, length1);
    const HeapText text2 = read_copy(&args, length2);
    const HeapText text3 = read_copy(&args, length3);
    const TvMethodTable *tv = host_methods(&args);
    const int result =
        tv->get_startplayer ? tv->get_startplayer(text1.chars, text2.chars, text3.chars) : NO_SLOT;
    free(text3.chars);
    free(text2.chars);
    free(text1.chars);
    return result < 0 ? reply_empty_as(cp, &args, 0x4020)
                      : reply_u32(cp, 0x4020, static_cast<uint32_t>(result));
}

/* ---- Typed values */

enum ValueKind { VALUE_NONE, VALUE_32_BITS, VALUE_64_BITS, VALUE_TEXT };

static ValueKind value_kind(uint8_t tag)
{
    switch (tag) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 9:
    case 32:
        return VALUE_32_BITS;
    case 18:
        return VALUE_64_BITS;
    case 7:
    case 8:
        return VALUE_TEXT;
    default:
        return VALUE_NONE;
    }
}

/* A tag that names no kind of value is not answered. */
int handle_set_tv_vod(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t tag = read_u8(&args);
    const ValueKind kind = value_kind(tag);
    if (kind == VALUE_NONE && !args.failed) {
        return -1;
    }
    skip(&args, 1);
    char text[VALUE_TEXT_SIZE];
    const uint32_t value = kind == VALUE_32_BITS ? read_u32(&args) : 0;
    const uint32_t low = kind == VALUE_64_BITS ? read_u32(&args) : 0;
    const uint32_t high = kind == VALUE_64_BITS ? read_u32(&args) : 0;
    const uint32_t size = kind == VALUE_TEXT ? read_text_into(&args, text, sizeof text) : 0;
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args,
                        tv->set_tv_vod ? tv->set_tv_vod(tag, value, low, high,
                                                        kind == VALUE_TEXT ? text : nullptr, size)
                                       : NO_SLOT);
}

int handle_set_tv_vod_vt_int(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText text = read_text_copy(&args);
    skip(&args, 1);
    const uint32_t value = read_u32(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result =
        tv->set_tv_vod_vt_int ? tv->set_tv_vod_vt_int(selector, text.chars, value) : NO_SLOT;
    free(text.chars);
    return reply_result(cp, &args, result);
}

int handle_set_tv_vod_vt_str(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText first = read_text_copy(&args);
    skip(&args, 1);
    const HeapText second = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->set_tv_vod_vt_str
                           ? tv->set_tv_vod_vt_str(selector, first.chars, second.chars)
                           : NO_SLOT;
    free(second.chars);
    free(first.chars);
    return reply_result(cp, &args, result);
}

int handle_set_tv_vod_vt_long(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText text = read_text_copy(&args);
    skip(&args, 1);
    const int64_t value = read_i64(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result =
        tv->set_tv_vod_vt_long ? tv->set_tv_vod_vt_long(selector, text.chars, value) : NO_SLOT;
    free(text.chars);
    return reply_result(cp, &args, result);
}
