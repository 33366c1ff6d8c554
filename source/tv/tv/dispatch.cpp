#include "tvlink/dispatch.h"

#include "core/frame.h"
#include "tvlink/clock.h"
#include "tvlink/handlers.h"
#include "tvlink/string_rpc.h"

#include <stddef.h>

namespace
{

typedef int (*Handler)(CtrlPoint *cp, uint8_t *request, int32_t length);

struct Route {
    uint16_t first_code;
    uint16_t last_code;
    Handler handler;
};

const Route SET_ROUTES[] = {
    {0x0101, 0x0102, handle_set_tv_channel},
    {0x0109, 0x0109, handle_set_tv_key},
    {0x010F, 0x0110, handle_set_tv_volume},
    {0x0112, 0x0112, handle_set_tv_textpair},
};

const Route GET_ROUTES[] = {
    {0x0112, 0x0112, handle_get_tv_text},
    {0x0B01, 0x0B01, handle_get_tv_name},
    {0x2007, 0x2007, handle_get_tv_order},
};

const uint16_t CODE_STRING_RPC = 0x5004;

enum CallKind {
    CALL_DEVICE_INFO = 0,
    CALL_METHOD = 1,
};

} // namespace

static bool refused(const CtrlPoint *cp, const uint8_t *body, int32_t length)
{
    return cp == nullptr || body == nullptr || length <= 0;
}

/* The handler that the method code at `code_at` names; null when there is none or the body ends
 * before. */
static Handler find_handler(const Route *routes, size_t count, const uint8_t *body, int32_t length,
                            int32_t code_at)
{
    if (length < code_at + 2) {
        return nullptr;
    }
    const uint16_t code = load_u16(body + code_at);
    for (size_t i = 0; i < count; i++) {
        if (code >= routes[i].first_code && code <= routes[i].last_code) {
            return routes[i].handler;
        }
    }
    return nullptr;
}

static void call(Handler handler, CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (handler != nullptr) {
        handler(cp, body + 1, length - 1);
    }
}

int tv_set(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    const size_t count = sizeof SET_ROUTES / sizeof SET_ROUTES[0];
    call(find_handler(SET_ROUTES, count, body, length, 1), cp, body, length);
    return 0;
}

int tv_get(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    printTime("first time--- ");
    if (length > 1 && body[1] == CALL_DEVICE_INFO) {
        handle_get_device_info(cp);
    } else if (length > 1 && body[1] == CALL_METHOD) {
        const size_t count = sizeof GET_ROUTES / sizeof GET_ROUTES[0];
        call(find_handler(GET_ROUTES, count, body, length, 2), cp, body, length);
    }
    return 0;
}

int tv_ippRpc(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    if (length >= 3 && load_u16(body + 1) == CODE_STRING_RPC) {
        handle_methodString(cp, body, length);
    }
    return 0;
}
