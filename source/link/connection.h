/* SPDX-License-Identifier: MIT */
/* Connections, and the handles by which all but the registry refer to them.
 *
 * The registry owns a record while it is listed. Nothing else keeps a pointer to it: an item, a
 * push, a host's copy of either carry a handle, which holds nothing and needs no release. Whoever
 * works with a connection acquires it by the handle and releases it afterwards. Dropping a record
 * shuts its connection down at once, so that blocked sends fail, and lets no new user in; the last
 * user closes the socket and frees the memory. So the system cannot reuse the number of a
 * descriptor while anyone works with it.
 *
 * The four reserved words of a record, and of every copy of it, are its handle:
 *
 *   0    1 + the index of its place in a table that never moves or shrinks; 0: a host's own record
 *   1    its identity, which no other connection has: tells a place that is used again from what
 *        it was; never 0
 *   2    its descriptor: a copy whose `fd` was changed is a host's own record
 *   3    the number of the run in which it was accepted */
#pragma once

#include "base/lock.h"
#include "link/backlog.h"
#include "tvlink/ctrlpoint.h"

struct Place;

struct Connection {
    Place *place;      /* null: a host's own record */
    CtrlPoint *record; /* the live one, until it is released, or the host's; null: it has ended */
};

/* The connection that a record or a copy of one stands for. Takes no lock. */
Connection connection_acquire(CtrlPoint *cp);
void connection_release(Connection connection);

/* Stands for the send lock of a record. */
extern LockName send_mutex;

/* Of an acquired connection with a place. */
Backlog *connection_backlog(Connection connection) NEEDS(send_mutex);

/* ---- For the registry, under its lock. */

/* Stands for g_cp_list_mutex. */
extern LockName registry_mutex;

/* Gives a listed record a handle, unless it has one. False when memory is out. */
bool connection_register(CtrlPoint *record) NEEDS(registry_mutex);

/* True when something waits to be sent to the peer of a listed record. */
bool connection_is_waiting(const CtrlPoint *record) NEEDS(registry_mutex);

/* Why a listed record is about to be dropped; otherwise the host has removed it. */
void connection_set_end(const CtrlPoint *record, int reason) NEEDS(registry_mutex);

/* For a record that is out of the list: shuts the connection down, and frees the record as soon as
 * nobody uses it. A record without a handle is freed at once. */
void connection_drop(CtrlPoint *record);

/* ---- Copies. */

/* True for a record of the library and its copies, as long as `fd` is what it was. */
bool connection_has_handle(const CtrlPoint *cp);

/* Of a record with a handle, and of its copies. */
uint32_t connection_identity(const CtrlPoint *cp);

/* True for a record, and its copies, of a run that has been stopped. */
bool connection_is_stale(const CtrlPoint *cp);

/* For free(); null when memory is out. For the thread that receives. */
CtrlPoint *connection_copy(const CtrlPoint *record);

/* Fills a copy without the fields that change while the server thread receives. */
void connection_refer(CtrlPoint *reference, const CtrlPoint *record);

/* Takes the descriptor out of a copy whose connection has ended. */
void connection_clear_descriptor(CtrlPoint *copy);
