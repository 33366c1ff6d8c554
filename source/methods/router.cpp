/* SPDX-License-Identifier: MIT */
#include "tvlink/router.h"

#include "base/outcome.h"
#include "tvlink.h"
#include "tvlink/dispatch.h"
#include "tvlink/frame.h"

/* tv_opt takes nothing; its place in the table is never called. */
IppDispatcher g_dev_interface[3] = {
    tv_get, tv_set, reinterpret_cast<IppDispatcher>(reinterpret_cast<void (*)()>(tv_opt))};
IppDispatcher g_ippRpc = tv_ippRpc;

static IppDispatcher dispatcher_for(uint8_t frame_type)
{
    switch (frame_type) {
    case FRAME_GET:
        return g_dev_interface[0];
    case FRAME_SET:
        return g_dev_interface[1];
    case FRAME_RPC:
        return g_ippRpc;
    default:
        return nullptr;
    }
}

int response_ctrlpoint_request(CtrlPoint *item, uint8_t *body, int32_t length)
{
    if (item == nullptr || body == nullptr || length < 1) {
        return -1;
    }
    const IppDispatcher dispatch = dispatcher_for(body[0]);
    if (dispatch != nullptr) {
        dispatch(item, body, length);
    } else if (body[0] != FRAME_NO_OP) {
        outcome_refuse(IPP_REASON_UNKNOWN_TYPE);
    }
    return 0;
}
