#include "tvlink/dispatch.h"

#include "protocol/operations.h"
#include "tvlink/clock.h"
#include "tvlink/handlers.h"
#include "tvlink/string_rpc.h"
#include "wire/request_reader.h"

using protocol::Kind;
using protocol::KIND_GET;
using protocol::KIND_SET;
using protocol::KIND_STRING;

namespace
{

typedef int (*Handler)(CtrlPoint *cp, uint8_t *request, int32_t length);

struct Route {
    Kind kind;
    uint16_t first_code;
    uint16_t last_code;
    Handler handler;
};

/* Every operation that a method code reaches. */
const Route ROUTES[] = {
#define ROUTE_GET(first, last, name) {KIND_GET, first, last, handle_##name},
#define ROUTE_SET(first, last, name) {KIND_SET, first, last, handle_##name},
#define ROUTE_STRING(first, last, name) {KIND_STRING, first, last, handle_##name},
#define ROUTE_INFO(first, last, name)
#define ROUTE_DIRECT(first, last, name)
#define OPERATION(family, kind, first, last, slot, name, ...) ROUTE_##kind(first, last, name)
#define SLOTLESS(family, kind, first, last, name, ...) ROUTE_##kind(first, last, name)
#include "protocol/operations.def"
};

enum CallKind {
    CALL_DEVICE_INFO = 0,
    CALL_METHOD = 1,
};

} // namespace

static bool is_refused(const CtrlPoint *cp, const uint8_t *body, int32_t length)
{
    return cp == nullptr || body == nullptr || length <= 0;
}

/* The handler for the request's method code; null when there is none, or no whole code. */
static Handler find_handler(Kind kind, const RequestReader &request)
{
    for (const Route &route : ROUTES) {
        if (request.has_code && route.kind == kind && request.code >= route.first_code &&
            request.code <= route.last_code) {
            return route.handler;
        }
    }
    return nullptr;
}

static void call(Handler handler, CtrlPoint *cp, uint8_t *request, int32_t length)
{
    if (handler != nullptr) {
        handler(cp, request, length);
    }
}

int tv_set(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (is_refused(cp, body, length)) {
        return -1;
    }
    const Handler handler = find_handler(KIND_SET, set_request(body + 1, length - 1, 0));
    call(handler, cp, body + 1, length - 1);
    return 0;
}

int tv_get(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (is_refused(cp, body, length)) {
        return -1;
    }
    printTime("first time--- ");
    if (length > 1 && body[1] == CALL_DEVICE_INFO) {
        handle_get_device_info(cp);
    } else if (length > 1 && body[1] == CALL_METHOD) {
        const Handler handler = find_handler(KIND_GET, get_request(body + 1, length - 1, 0));
        call(handler, cp, body + 1, length - 1);
    }
    return 0;
}

/* The handler of string calls takes the whole body. */
int tv_ippRpc(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (is_refused(cp, body, length)) {
        return -1;
    }
    call(find_handler(KIND_STRING, set_request(body + 1, length - 1, 0)), cp, body, length);
    return 0;
}
