/* SPDX-License-Identifier: MIT */
/* Used by the functions that wait for one frame among others. */
#ifndef CP_EXCHANGE_H
#define CP_EXCHANGE_H

#include "cp_connection.h"

/* Passes a frame that is not awaited to the handler. CP_TIMED_OUT once the deadline has passed, so
 * that a television that never stops sending other frames does not prolong the wait. */
CpStatus cp_other_frame(CpConnection *connection, const CpFrame *frame, int64_t deadline);

#endif
