/* Metadata, applications, place, version and voice. */

#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/clock.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

static const uint32_t LONG_TEXT_SIZE = 65535;
static const uint32_t VERSION_SIZE = 32;

/* A text that the host writes into a buffer of this size. */
static int answer_text(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code,
                       uint32_t size, int (*TvMethodTable::*slot)(char *buffer))
{
    const RequestReader args = get_request(request, length, 4);
    int (*const get)(char *) = host_methods(&args)->*slot;
    char *answer = get ? lend_buffer(size) : nullptr;
    return reply_answer(cp, &args, code, answer ? get(answer) : NO_SLOT, answer);
}

int handle_get_tv_currentposition(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_text(cp, request, length, 0x4002, LONG_TEXT_SIZE,
                       &TvMethodTable::get_tv_currentposition);
}

int handle_get_europe_version(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return answer_text(cp, request, length, 0x4024, VERSION_SIZE,
                       &TvMethodTable::get_europe_version);
}

int handle_get_tv_installapklist(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint32_t value = read_u32(&args);
    const TvMethodTable *tv = host_methods(&args);
    char *answer = tv->get_tv_installapklist ? lend_buffer(LONG_TEXT_SIZE) : nullptr;
    const int result = answer ? tv->get_tv_installapklist(value, answer) : NO_SLOT;
    return reply_answer(cp, &args, 0x4001, result, answer);
}

int handle_get_tv_metadata(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    skip(&args, 1);
    const HeapText first = read_text_copy(&args);
    const HeapText second = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    char *answer = tv->get_tv_metadata ? lend_buffer(LONG_TEXT_SIZE) : nullptr;
    const int result =
        answer ? tv->get_tv_metadata(first.chars, second.chars, selector, answer) : NO_SLOT;
    free(second.chars);
    free(first.chars);
    const int sent = reply_answer(cp, &args, 0x4003, result, answer);
    printTime("end time--- ");
    return sent;
}

/* The phone hears of failures only. */
int handle_tv_sendvoice(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const HeapText voice = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->tv_sendvoice ? tv->tv_sendvoice(voice.chars, voice.length) : NO_SLOT;
    free(voice.chars);
    return result < 0 ? reply_empty_as(cp, &args, 0x401F) : 0;
}
