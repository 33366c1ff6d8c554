/* SPDX-License-Identifier: MIT */
/* From a frame body to the dispatcher that its frame type names. */
#ifndef TVLINK_ROUTER_H
#define TVLINK_ROUTER_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

/* (request item, frame body, body length); byte 0 of the body is the frame type. */
typedef int (*IppDispatcher)(CtrlPoint *cp, uint8_t *body, int32_t length);

/* Entry 0 serves get frames, entry 1 set frames; no frame type reaches entry 2. A null entry drops
 * the frames of its type. Changed, if at all, while no requests arrive.
 *
 * Initially tv_get, tv_set and tv_opt of the library. The library binds these names itself, so that
 * a host's function of the same name cannot take their place; a program that is not linked as
 * position-independent may therefore see another address under the name. */
TVLINK_API extern IppDispatcher g_dev_interface[3];

/* Serves string remote procedure calls. */
TVLINK_API extern IppDispatcher g_ippRpc;

/* Calls the dispatcher for the body's frame type; other types are dropped. Returns 0; -1 for a null
 * item or body or a length below 1. Runs on the request worker. */
TVLINK_API int response_ctrlpoint_request(CtrlPoint *item, uint8_t *body, int32_t length);

TVLINK_END

#endif
