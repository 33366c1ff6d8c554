/* SPDX-License-Identifier: MIT */
/* Settings, applications, place and text queries. */

#include "methods/handler_shapes.h"
#include "tvlink/handlers.h"

static const uint32_t QUERY_SIZE = 2560;
static const uint32_t TEXT_SIZE = 256;
static const uint32_t LONG_TEXT_SIZE = 65535;

/* ---- Applications and place */

int handle_get_tv_installapklist(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_installapklist);
    const uint32_t value = read_u32(&args);
    const auto get = slot_of(&args, &TvMethodTable::get_tv_installapklist);
    char *answer = get != nullptr ? lend_buffer(&args, LONG_TEXT_SIZE) : nullptr;
    const int result = answer != nullptr ? get(value, answer) : NO_SLOT;
    return reply_answer(cp, &args, result, answer);
}

int handle_get_tv_currentposition(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return get_buffer_text(cp, request, length, REPLY_CODE.get_tv_currentposition, LONG_TEXT_SIZE,
                           &TvMethodTable::get_tv_currentposition);
}

int handle_set_tv_install_apklist(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_text_and_number(cp, request, length, &TvMethodTable::set_tv_install_apklist);
}

int handle_set_tv_current_position(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText text = read_text(&args);
    return reply_set_text(cp, &args, text, text.length, &TvMethodTable::set_tv_current_position);
}

/* ---- Text queries: what their slots return is ignored. */

typedef int (*TvMethodTable::*TextQuery)(char *answer, const char *text);

static int answer_query(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code,
                        TextQuery slot)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 6, code);
    read_text_into(&args, text, sizeof text);
    int (*const query)(char *, const char *) = slot_of(&args, slot);
    char *answer = query != nullptr ? lend_buffer(&args, QUERY_SIZE) : nullptr;
    if (answer != nullptr) {
        query(answer, text);
    }
    return reply_answer(cp, &args, 0, answer);
}

int handle_get_tv_code400b(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, REPLY_CODE.get_tv_code400b,
                        &TvMethodTable::get_tv_code400b);
}

int handle_get_tv_code400c(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, REPLY_CODE.get_tv_code400c,
                        &TvMethodTable::get_tv_code400c);
}

int handle_get_tv_code400d(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, REPLY_CODE.get_tv_code400d,
                        &TvMethodTable::get_tv_code400d);
}

int handle_get_tv_code4015(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, REPLY_CODE.get_tv_code4015,
                        &TvMethodTable::get_tv_code4015);
}

int handle_get_tv_code400a(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 6, REPLY_CODE.get_tv_code400a);
    read_text_into(&args, text, sizeof text);
    const auto query = slot_of(&args, &TvMethodTable::get_tv_code400a);
    if (query == nullptr) {
        return reply_empty(cp, &args);
    }
    uint32_t answer = 0;
    query(&answer, text);
    return reply_u32(cp, &args, answer);
}

/* ---- Settings */

/* The second text's length stands right behind the first text, without a tag. */
int handle_set_tv_setting_mtnadata(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char second[TEXT_SIZE];
    RequestReader args = set_request(request, length, 5, REPLY_CODE.set_tv_setting_mtnadata);
    const HeapText first = read_text(&args);
    const uint32_t second_length = read_text_into(&args, second, sizeof second);
    skip(&args, 1);
    const uint8_t value = read_u8(&args);
    const auto set = slot_of(&args, &TvMethodTable::set_tv_setting_mtnadata);
    char *answer = set != nullptr ? lend_buffer(&args, QUERY_SIZE) : nullptr;
    if (answer != nullptr) {
        set(second, second_length, first.chars, first.length, value, answer);
    }
    return reply_answer(cp, &args, 0, answer);
}

int handle_set_tv_wifiinfo(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[TEXT_SIZE];
    RequestReader args = set_request(request, length, 5);
    read_text_into(&args, text, sizeof text);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_wifiinfo, NO_SLOT, text));
}

/* The host shuts down first: if it does so inside its slot, no reply goes out. */
int handle_set_tv_shut_down(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 2);
    call_slot(&args, &TvMethodTable::set_tv_shut_down, NO_SLOT);
    return reply_zero(cp, &args);
}
