/* Single states of the television. A host that lacks one of these slots makes it silent. */

#include "methods/handler_shapes.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

int handle_get_tv_code0001(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, 0x0001, &TvMethodTable::get_tv_code0001);
}

int handle_get_tv_code0105(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, 0x0105, &TvMethodTable::get_tv_code0105);
}

int handle_get_tv_code010e(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5);
    const uint8_t selector = read_u8(&args);
    const TvMethodTable *tv = host_methods(&args);
    return tv->get_tv_code010e ? reply_u8(cp, 0x010E, tv->get_tv_code010e(selector)) : -1;
}

int handle_get_tv_code2005(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, 0x2005, &TvMethodTable::get_tv_code2005);
}
