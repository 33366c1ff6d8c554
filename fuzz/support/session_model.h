/* The plain model of a session: which requests must be queued, which frame goes to which phone, and
 * which connections may be dropped. Each function checks the service against it. */
#pragma once

#include "support/session_state.h"

#include <semaphore.h>

/* ---- Receiving. */

/* Splits the bytes that have arrived into frames. */
void model_split(Connection *connection);

/* Called when the server has processed all it received: every frame that fits must be queued. */
void model_received();

/* ---- Queues. */

/* The service has posted a queue's semaphore. */
void item_posted(const sem_t *items);

/* A worker has decremented the semaphore, and so has finished the previous item. */
void item_taken(const sem_t *items);
void finish_item(WorkModel *work);

/* ---- Sending. */

/* The bytes passed to send: the rest of the current frame, or a new frame. */
void check_offered(Connection *connection, const Bytes &bytes);

/* send has accepted no byte, in a call that began at `began_ms`. */
void check_blocked(Connection *connection, uint64_t began_ms);

/* ---- Time. */

/* By the time in the connection's record, which may be created some time after accept. */
bool is_idle(const Connection &connection);

/* The service may drop the connections that are idle now. */
void allow_idle_drops();
