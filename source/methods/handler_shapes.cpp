#include "methods/handler_shapes.h"

int set_without_argument(CtrlPoint *cp, uint8_t *request, int32_t length,
                         int (*TvMethodTable::*slot)(void))
{
    const RequestReader args = set_request(request, length, 2);
    int (*const set)(void) = host_methods(&args)->*slot;
    return reply_result(cp, &args, set ? set() : NO_SLOT);
}

int set_u8(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
           const char *handler, int (*TvMethodTable::*slot)(uint8_t value))
{
    RequestReader args = set_request(request, length, tag.index + 1);
    check_tag(&args, tag, handler);
    const uint8_t value = read_u8(&args);
    int (*const set)(uint8_t) = host_methods(&args)->*slot;
    return reply_result(cp, &args, set ? set(value) : NO_SLOT);
}

int get_state_u8(CtrlPoint *cp, uint16_t code, int (*TvMethodTable::*slot)(void))
{
    int (*const get)(void) = host_methods()->*slot;
    return get ? reply_u8(cp, code, get()) : -1;
}

int get_state_u32(CtrlPoint *cp, uint16_t code, uint32_t (*TvMethodTable::*slot)(void))
{
    uint32_t (*const get)(void) = host_methods()->*slot;
    return get ? reply_u32(cp, code, get()) : -1;
}
