/* SPDX-License-Identifier: MIT */
/* What can be said of a request without carrying it out. */
#pragma once

#include "tvlink/ctrlpoint.h"
#include "tvlink/observer.h"

/* Of a frame body of this length, which may be null, and the peer that sent it. */
IppRequest request_head(const CtrlPoint *peer, const uint8_t *body, uint32_t length);

/* True when the last byte of a whole frame is the sum of the others. */
bool request_has_checksum(const uint8_t *frame, uint32_t size);
