/* SPDX-License-Identifier: MIT */
/* Phones, accounts and voice. */

#include "base/log.h"
#include "methods/handler_shapes.h"
#include "tvlink/handlers.h"

int handle_set_tv_bind(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_bind);
}

int handle_set_tv_showphone(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_STRING, "frame_data[2] == 0x08", 2128}, __func__);
    const HeapText text = read_text(&args);
    return reply_result(
        cp, &args,
        call_slot(&args, &TvMethodTable::set_tv_showphone, NO_SLOT, text.chars, text.length));
}

/* No tags at all. */
int handle_set_tv_show_phone_connect(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 2);
    const HeapText first = read_text(&args);
    const HeapText second = read_text(&args);
    return reply_result(cp, &args,
                        call_slot(&args, &TvMethodTable::set_tv_show_phone_connect, NO_SLOT,
                                  first.chars, second.chars));
}

int handle_set_tv_nick_name(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_text_and_number(cp, request, length, &TvMethodTable::set_tv_nick_name);
}

static void print_login(const RequestReader *args, const char *handler)
{
    RequestReader ahead = *args;
    const uint16_t first_length = read_u16(&ahead);
    if (args->has_code) {
        log_out("%s %d attribid %d \n", handler, 2155, args->code);
    }
    if (!ahead.failed) {
        log_out("%s %d len %d \n", handler, 2167, first_length);
    }
}

/* The host's result goes into the request and never reaches the phone, which always gets 0. */
int handle_set_tv_loginfromtv(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char texts[5][256];
    RequestReader args = set_request(request, length, 4);
    print_login(&args, __func__);
    for (char(&text)[256] : texts) {
        read_text_into(&args, text, sizeof text);
        skip(&args, 1);
    }
    const auto log_in = slot_of(&args, &TvMethodTable::set_tv_loginfromtv);
    if (log_in != nullptr) {
        request[3] = static_cast<uint8_t>(log_in(texts[0], texts[1], texts[2], texts[3], texts[4]));
    }
    return reply_zero(cp, &args);
}

/* Only a failure is answered. */
int handle_tv_sendvoice(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.tv_sendvoice);
    const HeapText voice = read_text(&args);
    const int result =
        call_slot(&args, &TvMethodTable::tv_sendvoice, NO_SLOT, voice.chars, voice.length);
    return result < 0 ? reply_empty(cp, &args) : reply_nothing(&args);
}
