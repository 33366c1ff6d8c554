/* SPDX-License-Identifier: MIT */
/* From a frame body to the handler that its method code names. */
#ifndef TVLINK_DISPATCH_H
#define TVLINK_DISPATCH_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

/* All three take the item, the body (byte 0 is the frame type) and its length, call at most one
 * handler and return 0, whether or not one matched; -1 for a null item or body or a length below 1.
 * A body that ends before its method code reaches no handler. They run on the request worker. */
TVLINK_API int tv_set(CtrlPoint *cp, uint8_t *body, int32_t length);
TVLINK_API int tv_get(CtrlPoint *cp, uint8_t *body, int32_t length);
TVLINK_API int tv_ippRpc(CtrlPoint *cp, uint8_t *body, int32_t length);

TVLINK_END

#endif
