/* SPDX-License-Identifier: MIT */
/* The model of what the service keeps for phones under the guard's send_backlog_bytes: frames stay
 * whole and in order, no more is kept than the guard allows, and a connection is dropped for what
 * it does not take only beyond that bound or after a stall. Each function checks the service
 * against it; without a bound they do nothing. */
#pragma once

#include "support/session_state.h"

/* The bytes that the service keeps, by its own figure, which the model confirms. */
size_t kept_for_all();

/* ---- The send lock, which is held for one frame by a sender, and for what is kept by the server
 * thread. */

/* A thread has taken a lock, or has found it taken; it releases a lock. */
void note_lock(const pthread_mutex_t *mutex, bool taken);
void note_unlock(const pthread_mutex_t *mutex);

/* The thread that holds a send lock shuts the connection down. */
void note_shutdown(Connection *connection);

/* The running thread sleeps. */
void check_sleep();

/* ---- Sending. */

/* The service calls send. Null: for a descriptor of no connection. */
void send_begins(Connection *connection);

/* The bytes passed to send: a frame for which nothing is kept, or the first that is kept. */
void check_offered_or_kept(Connection *connection, Lane lane, const Bytes &bytes);

/* send has accepted no byte, in a call that began at `began_ms`, or so many from the server. */
void note_no_room(Connection *connection, uint64_t began_ms);
void note_kept_sent(Connection *connection, size_t count);

/* The service closes the connection. */
void forget_kept(Connection *connection);

/* ---- The server thread. */

/* It has finished a pass and is going to wait. */
void check_pass();

/* Nothing is ready; it waits for so long. */
void check_wait(int limit_ms);

/* It has waited. */
void begin_pass();
