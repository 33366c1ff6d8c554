/* Copies of a record, and finding the connection that a copy, a weak reference or a record stands
 * for. */
#pragma once

#include "link/connection.h"

/* ---- Copies. */

/* A whole-record copy on the heap; null when memory is out, and for a record of the library also
 * once the service has stopped. The copy of a record of the library holds a strong reference to it;
 * that of a host's own record does not: the host keeps its socket open until the item is done. */
CtrlPoint *connection_copy(CtrlPoint *record);

/* The same without the fields that change while the server thread receives. Any thread may call it;
 * connection_copy is for the thread that receives. */
CtrlPoint *connection_bare_copy(CtrlPoint *record);

/* ---- The target of a send. */

enum ConnectionKind {
    CONNECTION_GONE,    /* a copy of a record that is no longer listed: nothing is sent */
    CONNECTION_LISTED,  /* `record` is the listed one */
    CONNECTION_FOREIGN, /* a host's own record, which the registry does not know */
};

struct ConnectionTarget {
    ConnectionKind kind;
    CtrlPoint *record;
};

/* The target that a caller's record stands for. Needs the registry lock, or a closed gate. */
ConnectionTarget connection_find(CtrlPoint *cp);

/* The same without the lock: holds a listed record until connection_release_target(). */
ConnectionTarget connection_acquire_target(CtrlPoint *cp);
void connection_release_target(const ConnectionTarget *target);

/* Removes a record from the registry and drops it. Idempotent. For callers without the lock. */
void connection_unlist(CtrlPoint *record);
