/* The phones of a session: what each does with its end of a connection. */
#pragma once

#include "support/session_state.h"

/* 1: with a small buffer, 2: and reads nothing by itself. Nothing for a phone that is connected,
 * and when there have been enough connections. */
void connect_phone(unsigned phone, unsigned how);

/* 1: keeps it until it writes. */
void send_or_keep(Connection *connection, const Bytes &bytes, unsigned how);

/* A string call, answered by its own text; 2: one at which the host reports an event. */
void make_call(Connection *connection, unsigned how, size_t size);

/* A request whose length and body the input says, and bytes that need not be a frame. */
void ask(Connection *connection, unsigned how);
void send_bytes(Connection *connection, unsigned how);

/* So many bytes of what it has kept, 0: all. */
void phone_writes(Connection *connection, size_t size);

void phone_reads(Connection *connection);

/* 1: and from now on by itself, 2: from now on not by itself. */
void read_what_came(Connection *connection, unsigned how);

/* Writing, reading or both. */
void shut_phone(Connection *connection, unsigned how);

void phone_closes(Connection *connection);
