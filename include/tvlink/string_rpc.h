/* SPDX-License-Identifier: MIT */
/* String remote procedure calls. */
#ifndef TVLINK_STRING_RPC_H
#define TVLINK_STRING_RPC_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

/* Hands the request text to tv_ippRpcFunSet and sends its answer. `body` is the whole frame body,
 * from the type byte on. Returns 1; -1 when the body is shorter than its fields say, -10 when
 * memory is out, -11 when the host has set no function or it did not return 1; then nothing is
 * sent. */
TVLINK_API int handle_methodString(CtrlPoint *cp, uint8_t *body, int32_t length);

TVLINK_END

#endif
