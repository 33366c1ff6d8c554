/* The lifetime of the registry lock is that of the service, but threads may want the lock at any
 * moment. A static gate in front of it counts the threads inside and is closed when the service
 * stops; the lock is destroyed once the gate has drained. */
#pragma once

#include "tvlink/registry.h"

/* Locks g_cp_list_mutex. False, without the lock, once the service has stopped: the registry then
 * counts as empty. Diagnostic lines for the sink are held back while the lock is held. */
bool registry_lock(void);
void registry_unlock(void);

/* For ipp_init: makes the lock, empties the list, opens the gate. */
void registry_open(void);

/* For ipp_finish, first: sends to registered connections are not retried any more, so that a
 * stalled one cannot hold the lock. */
void registry_stop_retries(void);
bool registry_retries_stopped(void);

/* For ipp_finish, last: drains the gate, drops every connection, destroys the lock. Idempotent. */
void registry_close(void);
