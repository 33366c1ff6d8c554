/* What is shared by those who wait for one frame among others. */
#ifndef CP_EXCHANGE_H
#define CP_EXCHANGE_H

#include "cp_connection.h"

/* Hands over a frame that is not the awaited one. CP_TIMED_OUT once the deadline has passed: a
 * television that never stops sending other frames does not prolong the wait. */
CpStatus cp_other_frame(CpConnection *connection, const CpFrame *frame, int64_t deadline);

#endif
