/* The lifetime of a connection.
 *
 * The registry owns a record while it is listed. Code that uses a record beyond the registry lock
 * (a send, the server thread while it receives, a queued item) holds a strong reference, counted in
 * the record. Dropping a record shuts the connection down at once, so that blocked sends fail; its
 * socket is closed and its memory freed exactly once: by the drop itself or, while references
 * remain, by the release of the last one. So the system cannot reuse the descriptor's number while
 * anything still refers to it.
 *
 * The four reserved words of a record, all zero at creation:
 *
 *              live record                           copy (item)
 *   0          reference count; the highest bit      a flag, and the generation of the
 *              once it is dropped                    service in which it was made
 *   1          1 once a select pass watches it       address of the live record,
 *   2          bytes that the peer had not           to which the copy holds a
 *              acknowledged at the snapshot, and     strong reference
 *              those sent since; 0: none were
 *              outstanding
 *   3          identity, assigned with the first     the same identity
 *              watch or reference; never 0, never
 *              reused
 *
 * Words 0 and 2 of a live record are atomic, word 1 belongs to the server thread, word 3 is guarded
 * by the registry lock. */
#pragma once

#include "tvlink/ctrlpoint.h"

/* ---- The reference count of a record. */

void connection_hold(CtrlPoint *record);
void connection_release(CtrlPoint *record);

/* For a record that is out of the list: shuts the connection down, and frees the record unless
 * references remain. */
void connection_drop(CtrlPoint *record);

/* Marks a listed record as watched by the select pass that begins, under the registry lock; reads
 * the mark. A record without the mark was accepted during the pass, so that the ready bit of its
 * descriptor belongs to an earlier connection. */
void connection_watch(CtrlPoint *record);
bool connection_watched(const CtrlPoint *record);

/* Takes a snapshot of the number of bytes that the peer of a listed record has not acknowledged;
 * adds the bytes that are sent afterwards. The query is true when bytes were outstanding and the
 * peer has acknowledged none of them since the snapshot. */
void connection_snapshot_unacknowledged(CtrlPoint *record);
void connection_add_unacknowledged(CtrlPoint *record, uint32_t added);
bool connection_acknowledged_nothing(const CtrlPoint *record);

/* ---- References and copies that need no registry; for the others see link/connection_target.h. */

/* 0 for a record that the host made itself. */
uint32_t connection_identity(const CtrlPoint *cp);

/* True while the reference count is above 0, and once the record is dropped. */
bool connection_is_referenced(const CtrlPoint *record);

/* Zeroes `copy` and copies the fields that never change, even while the server thread receives. */
void connection_copy_constants(CtrlPoint *copy, const CtrlPoint *record);

/* Fills a weak reference: it stands for the listed record until that is dropped, and for no
 * connection afterwards. Does not change the reference count. Needs the registry lock. */
void connection_make_weak(CtrlPoint *record, CtrlPoint *reference);

/* Makes the copy a strong reference to the record. Needs the registry lock. */
void connection_make_strong(CtrlPoint *copy, CtrlPoint *record);

/* Releases the strong reference that the copy holds, if any, and frees the copy. */
void connection_free_copy(CtrlPoint *copy);

/* Begins the next generation when the service has stopped: all earlier copies are stale. */
void connection_next_generation(void);
bool connection_is_stale(const CtrlPoint *copy);
