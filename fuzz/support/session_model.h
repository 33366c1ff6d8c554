/* The plain model of a session: which requests must be queued, which frame goes to whom, and who
 * may be dropped. Each function checks that the service does so. */
#pragma once

#include "support/session_state.h"

#include <semaphore.h>

/* ---- Receiving. */

/* What has arrived is split into frames. */
void model_split(Connection *connection);

/* The server has done with what it received last: all is queued that could be. */
void model_received();

/* ---- Queues. */

/* The service has counted a queue's semaphore up, ... */
void item_posted(const sem_t *items);

/* ... and a worker has counted it down, and so is done with the item before. */
void item_taken(const sem_t *items);
void finish_item(WorkModel *work);

/* ---- Sending. */

/* What is offered to the system: the rest of the frame, or a new one. */
void check_offered(Connection *connection, const Bytes &bytes);

/* ---- Time. */

/* By the time in its record, which may be made some time after it was accepted. */
bool is_idle(const Connection &connection);

void excuse_idle();
