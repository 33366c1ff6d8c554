/* Stalled phones of a session: how long the service may wait for one, and in a broadcast for all of
 * them together. */
#pragma once

#include "support/session_state.h"

/* The running lane begins a broadcast. */
void begin_broadcast();

/* The phone has read bytes. */
void note_read(Connection *connection);

/* send has accepted bytes of a frame, or has accepted none in a call that began at `began_ms`. */
void note_sent(Connection *connection);
void note_blocked_send(Connection *connection, uint64_t began_ms);
