/* Phones of a session that take nothing: how long the service waits for each, and for all of them
 * together when it tells everybody something. */
#pragma once

#include "support/session_state.h"

/* The present lane begins to tell everybody something. */
void begin_round();

/* A phone has taken what was there. */
void note_taken(Connection *connection);

/* The system has taken bytes of a frame, or has not in an attempt that began then. */
void note_sent(Connection *connection);
void note_no_room(Connection *connection, uint64_t began_ms);
