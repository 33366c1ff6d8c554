/* SPDX-License-Identifier: MIT */
/* The phones of a session. The options are those of enum Action in session_fuzz.cpp. */
#pragma once

#include "support/session_state.h"

/* Does nothing for a phone that is connected, and after MAX_CONNECTIONS. */
void connect_phone(unsigned phone, unsigned options);

void send_or_buffer(Connection *connection, const Bytes &bytes, unsigned options);

/* A string call, answered with its own text. */
void send_call(Connection *connection, unsigned options, size_t size);

/* A request, and bytes that need not be a frame, with length and content from the input. */
void send_request(Connection *connection, unsigned options);
void send_bytes(Connection *connection, unsigned options);

/* Sends so many of the buffered bytes, 0: all. */
void phone_flushes(Connection *connection, size_t size);

void phone_reads(Connection *connection);

void read_arrived(Connection *connection, unsigned options);
void shut_down_phone(Connection *connection, unsigned options);

void phone_closes(Connection *connection);
