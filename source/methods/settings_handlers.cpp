/* Settings, accounts and text queries. */

#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

static const uint32_t QUERY_SIZE = 2560;
static const uint32_t SHORT_TEXT_SIZE = 256;

/* ---- Text queries */

typedef int (*TvMethodTable::*TextQuery)(char *answer, const char *text);

static int answer_query(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code,
                        TextQuery slot)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 6);
    read_text_into(&args, text, sizeof text);
    int (*const query)(char *, const char *) = host_methods(&args)->*slot;
    char *answer = query ? lend_buffer(QUERY_SIZE) : nullptr;
    if (answer) {
        query(answer, text);
    }
    return reply_answer(cp, &args, code, 0, answer);
}

int handle_get_tv_code400b(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, 0x400B, &TvMethodTable::get_tv_code400b);
}

int handle_get_tv_code400c(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, 0x400C, &TvMethodTable::get_tv_code400c);
}

int handle_get_tv_code400d(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, 0x400D, &TvMethodTable::get_tv_code400d);
}

int handle_get_tv_code4015(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_query(cp, request, length, 0x4015, &TvMethodTable::get_tv_code4015);
}

int handle_get_tv_code400a(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[QUERY_SIZE];
    RequestReader args = get_request(request, length, 6);
    read_text_into(&args, text, sizeof text);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_code400a == nullptr) {
        return reply_empty_as(cp, &args, 0x400A);
    }
    uint32_t answer = 0;
    tv->get_tv_code400a(&answer, text);
    return reply_u32(cp, 0x400A, answer);
}

/* ---- Setters that are answered as a question is, with the slot's whole result */

typedef int (*TvMethodTable::*NumberedTextSlot)(const char *text, uint32_t number);

/* Frees the text. */
static int set_and_reply(CtrlPoint *cp, const RequestReader *args, HeapText text, uint32_t number,
                         NumberedTextSlot slot)
{
    int (*const set)(const char *, uint32_t) = host_methods(args)->*slot;
    const int result = set ? set(text.chars, number) : NO_SLOT;
    free(text.chars);
    return set ? reply_u32(cp, args->code, static_cast<uint32_t>(result))
               : reply_empty_to(cp, args);
}

/* The number stands right behind the text, without a tag. */
static int set_text_and_number(CtrlPoint *cp, uint8_t *request, int32_t length,
                               NumberedTextSlot slot)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText text = read_text_copy(&args);
    const uint32_t number = read_u32(&args);
    return set_and_reply(cp, &args, text, number, slot);
}

int handle_set_tv_install_apklist(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_text_and_number(cp, request, length, &TvMethodTable::set_tv_install_apklist);
}

int handle_set_tv_nick_name(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_text_and_number(cp, request, length, &TvMethodTable::set_tv_nick_name);
}

int handle_set_tv_current_position(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText text = read_text_copy(&args);
    return set_and_reply(cp, &args, text, text.length, &TvMethodTable::set_tv_current_position);
}

/* The second text's length stands right behind the first text, without a tag. */
int handle_set_tv_setting_mtnadata(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char second[SHORT_TEXT_SIZE];
    RequestReader args = set_request(request, length, 5);
    const HeapText first = read_text_copy(&args);
    const uint16_t second_length = read_text_into(&args, second, sizeof second);
    skip(&args, 1);
    const uint8_t value = read_u8(&args);
    const TvMethodTable *tv = host_methods(&args);
    char *answer = tv->set_tv_setting_mtnadata ? lend_buffer(QUERY_SIZE) : nullptr;
    if (answer) {
        tv->set_tv_setting_mtnadata(second, second_length, first.chars, first.length, value,
                                    answer);
    }
    free(first.chars);
    return reply_answer(cp, &args, 0x4008, 0, answer);
}

/* ---- Setters with a result byte */

/* No tags at all. */
int handle_set_tv_show_phone_connect(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 2);
    const HeapText first = read_text_copy(&args);
    const HeapText second = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->set_tv_show_phone_connect
                           ? tv->set_tv_show_phone_connect(first.chars, second.chars)
                           : NO_SLOT;
    free(second.chars);
    free(first.chars);
    return reply_result(cp, &args, result);
}

/* The host shuts down first: if it does so inside its slot, no reply goes out. */
int handle_set_tv_shut_down(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    const RequestReader args = set_request(request, length, 2);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->set_tv_shut_down) {
        tv->set_tv_shut_down();
    }
    return reply_zero(cp, &args);
}
