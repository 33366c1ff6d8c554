/* SPDX-License-Identifier: MIT */
/* The port where answers and announcements arrive. */
#ifndef CP_ANSWER_PORT_H
#define CP_ANSWER_PORT_H

#include "controlpoint.h"

/* Makes a socket that is not yet bound and receives no groups but those that it joins itself. -1
 * with errno on failure. */
int cp_answer_socket();

/* Binds the port, which one program at a time can do: waits for it up to a deadline on the clock of
 * cp_clock.h. CP_SYSTEM, with EADDRINUSE when the port stays in use. */
CpStatus cp_bind_answer_port(int descriptor, int64_t deadline);

/* Takes one datagram, without waiting. CP_TIMED_OUT when there is none, CP_PROTOCOL when it is
 * neither answer nor announcement. */
CpStatus cp_take_answer(int descriptor, CpTelevision *television);

/* Closes the descriptor unless it is -1. */
void cp_close_keeping_errno(int descriptor);

#endif
