/* SPDX-License-Identifier: MIT */
/* Sends and receives several frames of one request before one deadline. */
#ifndef CP_CONNECTION_H
#define CP_CONNECTION_H

#include "cp_cursor.h"

/* As cp_send and cp_receive, up to a deadline on the clock of cp_clock.h. */
CpStatus cp_send_until(CpConnection *connection, uint8_t type, CpBytes payload, int64_t deadline);
CpStatus cp_receive_until(CpConnection *connection, CpFrame *frame, int64_t deadline);

/* Passes a frame that is not awaited to the handler, if there is one. */
void cp_hand_over(CpConnection *connection, const CpFrame *frame);

/* Clears the problem of an earlier call. */
void cp_connection_begin(CpConnection *connection);

/* Sets the result of cp_problem and returns the status. */
CpStatus cp_connection_fail(CpConnection *connection, CpStatus status, const char *problem);

#endif
