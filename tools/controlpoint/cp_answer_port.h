/* The port where answers and announcements arrive. */
#ifndef CP_ANSWER_PORT_H
#define CP_ANSWER_PORT_H

#include "controlpoint.h"

/* A socket for it, not yet bound, that hears no groups but those it joins itself. -1: errno. */
int cp_answer_socket();

/* One program at a time can have the port: waits for its turn up to a deadline on the clock of
 * cp_clock.h. CP_SYSTEM with EADDRINUSE when that does not come. */
CpStatus cp_bind_answer_port(int descriptor, int64_t deadline);

/* Takes one datagram, without waiting. CP_TIMED_OUT when there is none, CP_PROTOCOL when it is
 * neither answer nor announcement. */
CpStatus cp_take_answer(int descriptor, CpTelevision *television);

/* Closes what may be no descriptor at all. */
void cp_close_keeping_errno(int descriptor);

#endif
