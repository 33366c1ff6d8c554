/* The registry lock lives from ipp_init to ipp_finish; its users do not know when that is. A static
 * gate stands before it, which counts them, lets nobody in once the service has stopped, and is
 * waited for before the lock is destroyed. */
#pragma once

#include "tvlink/registry.h"

/* Takes g_cp_list_mutex. False, and nothing taken, once the service has stopped: the registry then
 * counts as empty. The log waits while it is held. */
bool registry_lock(void);
void registry_unlock(void);

/* ipp_init: a new lock, an empty list, the gate open. */
void registry_open(void);

/* ipp_finish, first: no send to a registered connection is tried again from now on, so that nobody
 * who holds the lock can keep it. */
void registry_stop_retries(void);
bool registry_retries_stopped(void);

/* ipp_finish, last: waits until everybody has left, drops every connection, destroys the lock. */
void registry_close(void);
