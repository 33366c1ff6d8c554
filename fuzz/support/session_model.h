/* SPDX-License-Identifier: MIT */
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

/* A frame of this lane, of which it has passed no byte to send. */
void begin_frame(Connection *connection, Lane lane, const Bytes &bytes);

/* The frame that a lane has to send at present, as far as the model knows it before send does, and
 * the most bytes that it may have. */
KeptFrame unseen_frame(Lane lane);
size_t longest_unseen(const KeptFrame &frame);

/* The same frame, once it counts as sent without having been passed to send. */
KeptFrame note_unseen_frame(const Connection *connection, Lane lane);

/* The content of a reply that counted as sent before. */
void check_late_reply(const Bytes &request, const Bytes &bytes);

/* The bytes passed to send: the rest of the current frame, or a new frame. */
void check_offered(Connection *connection, const Bytes &bytes);

/* send has accepted no byte, in a call that began at `began_ms`. */
void check_blocked(Connection *connection, uint64_t began_ms);

/* ---- Time. */

/* By the time in the connection's record, which may be created some time after accept. */
bool is_idle(const Connection &connection);

/* The service may drop the connections that are idle now. */
void allow_idle_drops();
