/* SPDX-License-Identifier: MIT */
/* The registry and its lock.
 *
 * The lock is never destroyed: whoever takes it before the first start or after a stop finds an
 * empty list. It is recursive, so that a host that holds it may call the library. */
#pragma once

#include "link/connection.h"
#include "tvlink/observer.h"
#include "tvlink/registry.h"

/* Lock g_cp_list_mutex. Diagnostic lines for the sink are held back while it is held. */
void registry_lock(void) TAKES(registry_mutex);
void registry_unlock(void) RELEASES(registry_mutex);

/* g_cp_list. */
CtrlPointList *registry_list(void) NEEDS(registry_mutex);

/* Grows with every change that a function makes to a list. */
uint32_t list_changes(void);

extern "C" int check_and_insert(int32_t fd, uint32_t peer_addr) NEEDS(registry_mutex);

/* For ipp_init: empties the list. */
void registry_open(void);

/* For ipp_finish, once the network threads have ended: drops every connection. */
void registry_close(void);

/* Removes a record from the list and drops it for this reason. Idempotent; null is allowed. */
void registry_remove(CtrlPoint *record, int reason = IPP_REASON_HOST);
void registry_remove_locked(CtrlPoint *record, int reason) NEEDS(registry_mutex);
