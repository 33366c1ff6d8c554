/* Copies of a record, and the connection that a copy, a reference or a record stands for. */
#pragma once

#include "link/connection.h"

/* ---- Copies. */

/* A whole-record copy on the heap; null when memory is out, and for a record of the library also
 * once the service has stopped. The copy of a record of the library holds a use of it; that of a
 * host's own record does not: the host keeps its socket open until the item is done. */
CtrlPoint *connection_copy(CtrlPoint *record);

/* The same without what changes while the server thread receives: connection_copy is that thread's,
 * or for a record of which nothing is received meanwhile. */
CtrlPoint *connection_bare_copy(CtrlPoint *record);

/* ---- Where a send goes. */

enum ConnectionKind {
    CONNECTION_GONE,    /* a copy of a record that is no longer listed: nothing is sent */
    CONNECTION_LISTED,  /* `record` is the listed one */
    CONNECTION_FOREIGN, /* a host's own record, not the registry's business */
};

struct ConnectionTarget {
    ConnectionKind kind;
    CtrlPoint *record;
};

/* What a caller's record stands for. The registry lock is held, or the gate is closed. */
ConnectionTarget connection_find(CtrlPoint *cp);

/* The same for callers without the lock; a listed record is in use until
 * connection_release_target(). */
ConnectionTarget connection_reach(CtrlPoint *cp);
void connection_release_target(const ConnectionTarget *target);

/* Takes a listed record out of the registry, if it still is in. Not with the lock held. */
void connection_unlist(CtrlPoint *record);
