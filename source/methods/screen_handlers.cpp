/* SPDX-License-Identifier: MIT */
/* The capture of the screen, which a phone fetches from a socket of its own. */

#include "methods/handler_shapes.h"
#include "transfer/bulk.h"
#include "tvlink/handlers.h"

static int reply_no_capture(CtrlPoint *cp, RequestReader *args)
{
    reply_port(cp, args, 0);
    return -1;
}

/* Silent without its slot, also for a bad request. */
int handle_get_screen_shot2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_screen_shot2);
    const int16_t parameter1 = read_i16(&args);
    skip(&args, 1);
    const uint16_t parameter2 = read_u16(&args);
    const auto capture = host_methods()->get_screen_shot2;
    if (capture == nullptr) {
        return reply_silence(&args);
    }
    uint32_t size = 0;
    const void *image = args.failed ? nullptr : capture(parameter1, parameter2, &size);
    uint16_t port = 0;
    if (image == nullptr || !bulk_offer(cp, image, size, __func__, &port)) {
        return reply_no_capture(cp, &args);
    }
    return reply_port(cp, &args, port);
}
