/* Phones and accounts: pairing, what a phone shows, details of an offer, the account of the
 * television. */

#include "base/log.h"
#include "methods/handler_shapes.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

int handle_set_tv_bind(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return set_without_argument(cp, request, length, &TvMethodTable::set_tv_bind);
}

int handle_set_tv_showphone(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    check_tag(&args, {2, TAG_STRING, "frame_data[2] == 0x08", 2128}, __func__);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result =
        tv->set_tv_showphone ? tv->set_tv_showphone(text.chars, text.length) : NO_SLOT;
    free(text.chars);
    return reply_result(cp, &args, result);
}

int handle_set_tv_voddetails(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText first = read_text_copy(&args);
    skip(&args, 1);
    const HeapText second = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    const int result = tv->set_tv_voddetails ? tv->set_tv_voddetails(first.chars, first.length,
                                                                     second.chars, second.length)
                                             : NO_SLOT;
    free(first.chars);
    free(second.chars);
    return reply_result(cp, &args, result);
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

/* The host's answer goes into the request and never reaches the phone, which always gets 0. */
int handle_set_tv_loginfromtv(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char texts[5][256];
    RequestReader args = set_request(request, length, 4);
    print_login(&args, __func__);
    for (char(&text)[256] : texts) {
        read_text_into(&args, text, sizeof text);
        skip(&args, 1);
    }
    const TvMethodTable *tv = host_methods(&args);
    if (tv->set_tv_loginfromtv) {
        request[3] = static_cast<uint8_t>(
            tv->set_tv_loginfromtv(texts[0], texts[1], texts[2], texts[3], texts[4]));
    }
    return reply_zero(cp, &args);
}
