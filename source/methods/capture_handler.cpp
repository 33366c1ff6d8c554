/* The picture of the screen, which is fetched from a socket of its own. */

#include "methods/method_table.h"
#include "methods/replies.h"
#include "transfer/bulk.h"
#include "tvlink/handlers.h"

static const uint16_t CODE = 0x0118;

static int no_capture(CtrlPoint *cp)
{
    reply_port(cp, CODE, 0);
    return -1;
}

int handle_get_screen_shot2(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const int16_t parameter1 = read_i16(&args);
    skip(&args, 1);
    const uint16_t parameter2 = read_u16(&args);
    const TvMethodTable *tv = host_methods();
    if (tv->get_screen_shot2 == nullptr || !args.has_code) {
        return -1; /* without its slot it is silent, whatever the request */
    }
    if (args.failed) {
        return no_capture(cp);
    }
    uint32_t size = 0;
    const void *image = tv->get_screen_shot2(parameter1, parameter2, &size);
    uint16_t port = 0;
    if (image == nullptr || !bulk_offer(cp, image, size, __func__, &port)) {
        return no_capture(cp);
    }
    return reply_port(cp, CODE, port);
}
