/* Single states of the television. A host that lacks one of these slots makes it silent. */

#include "tv/method_table.h"
#include "tv/reply_builder.h"
#include "tvlink/handlers.h"

int handle_get_tv_code0001(CtrlPoint *cp, uint8_t *, int32_t)
{
    const TvMethodTable *tv = host_methods();
    return tv->get_tv_code0001 ? reply_u8(cp, 0x0001, tv->get_tv_code0001()) : -1;
}

int handle_get_tv_code0105(CtrlPoint *cp, uint8_t *, int32_t)
{
    const TvMethodTable *tv = host_methods();
    return tv->get_tv_code0105 ? reply_u8(cp, 0x0105, tv->get_tv_code0105()) : -1;
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
    const TvMethodTable *tv = host_methods();
    return tv->get_tv_code2005 ? reply_u32(cp, 0x2005, tv->get_tv_code2005()) : -1;
}
