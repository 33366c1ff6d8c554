/* SPDX-License-Identifier: MIT */
/* Video on demand: what it shows, typed values for it, and metadata. */

#include "methods/handler_shapes.h"
#include "tvlink/clock.h"
#include "tvlink/handlers.h"

#include <stddef.h>

static const uint32_t CELL_SIZE = 256;
static const uint32_t STATUS_SIZE = 280;
static const uint32_t QUERY_SIZE = 2560;
static const uint32_t VALUE_TEXT_SIZE = 1024;
static const uint32_t LONG_TEXT_SIZE = 65535;

static constexpr uint16_t STATUS_CODE = protocol::OPERATIONS.get_tv_vodstatus.reply.success_code;

static const char *const TEXT_LABEL = "handle_get_tv_vodstr";
static const char *const STATUS_LABEL = "handle_get_tv_vodstatus";
static const char *const INTEGERS_LABEL = "handle_get_tv_vodintarray";

/* ---- Texts. A null result means that the host has none. */

int handle_get_tv_vodstr(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    char *text = call_slot(&args, &TvMethodTable::get_tv_vodstr, nullptr, selector);
    return reply_host_text(cp, &args, text, TEXT_LABEL);
}

int handle_get_tv_vodstr2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char filter[QUERY_SIZE];
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    read_text_into(&args, filter, sizeof filter);
    char *text = call_slot(&args, &TvMethodTable::get_tv_vodstr2, nullptr, selector, filter);
    return reply_host_text(cp, &args, text, TEXT_LABEL);
}

/* ---- The status record. A host may fill it as a structure of its own, so it is aligned as memory
 * from malloc is. */

/* The reply has the code of the first of the two operations, whichever was requested. */
static int reply_status(CtrlPoint *cp, RequestReader *args, int result, const char *record)
{
    if (result <= 0) {
        return reply_empty(cp, args);
    }
    return reply_record(cp, args, STATUS_CODE, record, STATUS_SIZE, STATUS_LABEL);
}

int handle_get_tv_vodstatus(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    alignas(max_align_t) char record[STATUS_SIZE + 1] = {};
    RequestReader args = get_request(request, length, 3);
    const int result = call_slot(&args, &TvMethodTable::get_tv_vodstatus, NO_SLOT, record);
    return reply_status(cp, &args, result, record);
}

int handle_get_tv_vodstatus2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    alignas(max_align_t) char record[STATUS_SIZE + 1] = {};
    RequestReader args = get_request(request, length, 4);
    const HeapText text = read_text(&args);
    const int result =
        call_slot(&args, &TvMethodTable::get_tv_vodstatus2, NO_SLOT, text.chars, record);
    return reply_status(cp, &args, result, record);
}

/* ---- Arrays, which the host has put on the heap. Counts that no reply can hold, -1 among them,
 * are answered with the empty reply. */

int handle_get_tv_vodintarray(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 3);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodintarray);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    uint32_t count = 0;
    void *integers = get(&count);
    return reply_host_block(cp, &args, integers, count, sizeof(uint32_t), INTEGERS_LABEL);
}

int handle_get_tv_vodintarray2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 5);
    read_text_into(&args, text, sizeof text);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodintarray2);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    uint32_t count = 0;
    void *integers = get(&count, text);
    return reply_host_block(cp, &args, integers, count, sizeof(uint32_t), INTEGERS_LABEL);
}

int handle_get_tv_vodarraystring(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 3, REPLY_CODE.get_tv_vodarraystring);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodarraystring);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    uint32_t count = 0;
    void *cells = get(&count);
    return reply_host_block(cp, &args, cells, count, CELL_SIZE, nullptr);
}

int handle_get_tv_vodarraystring2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 4);
    const HeapText text = read_text(&args);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodarraystring2);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    uint32_t count = 0;
    void *cells = get(text.chars, &count);
    return reply_host_block(cp, &args, cells, count, CELL_SIZE, nullptr);
}

/* ---- The player of video on demand */

int handle_get_tv_vodplayer(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 3, REPLY_CODE.get_tv_vodplayer);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodplayer);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    const int state = get();
    return reply_u32(cp, &args, static_cast<uint32_t>(state));
}

int handle_get_tv_vodplayer_v2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_vodplayer_v2);
    const HeapText text = read_text(&args);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_vodplayer_v2);
    if (get == nullptr) {
        return reply_empty(cp, &args);
    }
    const int state = get(text.chars);
    return reply_u32(cp, &args, static_cast<uint32_t>(state));
}

/* The three lengths come first, then the three texts. */
int handle_get_startplayer(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_startplayer);
    const uint16_t length1 = read_u16(&args);
    const uint16_t length2 = read_u16(&args);
    const uint16_t length3 = read_u16(&args);
    const HeapText text1 = read_bytes(&args, length1);
    const HeapText text2 = read_bytes(&args, length2);
    const HeapText text3 = read_bytes(&args, length3);
    const int result = call_slot(&args, &TvMethodTable::get_startplayer, NO_SLOT, text1.chars,
                                 text2.chars, text3.chars);
    return result < 0 ? reply_empty(cp, &args)
                      : reply_u32(cp, &args, static_cast<uint32_t>(result));
}

/* ---- Metadata */

int handle_get_tv_metadata(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_metadata);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText first = read_text(&args);
    const HeapText second = read_text(&args);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_metadata);
    char *answer = get != nullptr ? lend_buffer(&args, LONG_TEXT_SIZE) : nullptr;
    const int result =
        answer != nullptr ? get(first.chars, second.chars, selector, answer) : NO_SLOT;
    const int sent = reply_answer(cp, &args, result, answer);
    printTime("end time--- ");
    return sent;
}

/* ---- Values */

int handle_set_tv_voddetails(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText first = read_text(&args);
    skip(&args, 1);
    const HeapText second = read_text(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_voddetails, NO_SLOT, first.chars,
                                  first.length, second.chars, second.length));
}

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
        return reply_silence(&args);
    }
    skip(&args, 1);
    char text[VALUE_TEXT_SIZE];
    const uint32_t value = kind == VALUE_32_BITS ? read_u32(&args) : 0;
    const uint32_t low = kind == VALUE_64_BITS ? read_u32(&args) : 0;
    const uint32_t high = kind == VALUE_64_BITS ? read_u32(&args) : 0;
    const uint32_t size = kind == VALUE_TEXT ? read_text_into(&args, text, sizeof text) : 0;
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_vod, NO_SLOT, tag, value, low, high,
                                  kind == VALUE_TEXT ? text : nullptr, size));
}

int handle_set_tv_vod_vt_int(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText text = read_text(&args);
    skip(&args, 1);
    const uint32_t value = read_u32(&args);
    return reply_result(
        cp, &args,
        call_slot(&args, &TvMethodTable::set_tv_vod_vt_int, NO_SLOT, selector, text.chars, value));
}

int handle_set_tv_vod_vt_str(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText first = read_text(&args);
    skip(&args, 1);
    const HeapText second = read_text(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_vod_vt_str, NO_SLOT, selector,
                                  first.chars, second.chars));
}

int handle_set_tv_vod_vt_long(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText text = read_text(&args);
    skip(&args, 1);
    const int64_t value = read_i64(&args);
    return reply_result(
        cp, &args,
        call_slot(&args, &TvMethodTable::set_tv_vod_vt_long, NO_SLOT, selector, text.chars, value));
}
