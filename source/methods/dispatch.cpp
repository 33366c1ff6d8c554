/* SPDX-License-Identifier: MIT */
#include "tvlink/dispatch.h"

#include "base/outcome.h"
#include "protocol/operations.h"
#include "tvlink/clock.h"
#include "tvlink/handlers.h"
#include "tvlink/observer.h"
#include "tvlink/string_rpc.h"
#include "wire/request_reader.h"

using protocol::Kind;
using protocol::KIND_GET;
using protocol::KIND_SET;
using protocol::KIND_STRING;

namespace
{

typedef int (*Handler)(CtrlPoint *cp, uint8_t *request, int32_t length);

enum CallKind {
    CALL_DEVICE_INFO = 0,
    CALL_METHOD = 1,
};

} // namespace

static bool is_refused(const CtrlPoint *cp, const uint8_t *body, int32_t length)
{
    return cp == nullptr || body == nullptr || length <= 0;
}

static constexpr uint32_t route(Kind kind, uint16_t code)
{
    return uint32_t{kind} << 16 | code;
}

/* The handler for a request; null when there is none. A code that is given to two operations does
 * not compile. */
static Handler handler_of(uint32_t wanted)
{
    switch (wanted) {
#define ROUTE(kind, first, last, name)                                                             \
    case route(kind, first)... route(kind, last):                                                  \
        return handle_##name;
#define ROUTE_GET(first, last, name) ROUTE(KIND_GET, first, last, name)
#define ROUTE_SET(first, last, name) ROUTE(KIND_SET, first, last, name)
#define ROUTE_STRING(first, last, name) ROUTE(KIND_STRING, first, last, name)
#define ROUTE_INFO(first, last, name)
#define ROUTE_DIRECT(first, last, name)
#define OPERATION(family, kind, first, last, slot, name, ...) ROUTE_##kind(first, last, name)
#define SLOTLESS(family, kind, first, last, name, ...) ROUTE_##kind(first, last, name)
#include "protocol/operations.def"
    default:
        return nullptr;
    }
}

/* Null also for a request without a whole code. */
static Handler find_handler(Kind kind, const RequestReader &request)
{
    return request.has_code ? handler_of(route(kind, request.code)) : nullptr;
}

static void call(Handler handler, CtrlPoint *cp, uint8_t *request, int32_t length)
{
    if (handler != nullptr) {
        handler(cp, request, length);
    } else {
        outcome_refuse(IPP_REASON_NO_ROUTE); /* a request without a whole code was too short */
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
    } else {
        outcome_refuse(length > 1 ? IPP_REASON_UNKNOWN_KIND : IPP_REASON_TOO_SHORT);
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
