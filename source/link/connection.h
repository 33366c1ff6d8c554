/* Who owns a connection, and for how long.
 *
 * A record is owned by the registry while it is listed. Whoever uses it beyond the registry's lock
 * (a send, the server thread while it receives, a queued item) counts itself in the record.
 * Dropping a record shuts the connection down at once, so that blocked sends fail; its socket is
 * closed and its memory freed exactly once, by the drop itself or by the last user. So a descriptor
 * number cannot come back from the system while anything still refers to it.
 *
 * The four reserved words of a record, all zero at creation:
 *
 *              live record                           copy (item)
 *   0          number of users; the highest bit      a mark, and the run it was made in
 *              once it is dropped
 *   1          1 once a select pass watches it       address of the live record,
 *   2          bytes that the phone had not taken    which the item holds in use
 *              when that was noted, and those that
 *              it was sent since; 0: it had taken all
 *   3          identity, given with the first        the same identity
 *              watch or copy; never 0, never twice
 *
 * Words 0 and 2 of a live record are atomic, word 1 is the server thread's, word 3 is guarded by
 * the registry lock. */
#pragma once

#include "tvlink/ctrlpoint.h"

/* ---- Use of a record. */

void connection_hold(CtrlPoint *record);
void connection_release(CtrlPoint *record);

/* The record is out of the list: shut down, and end it unless somebody uses it. */
void connection_drop(CtrlPoint *record);

/* Marks a listed record as watched by the select pass that begins, and asks for the mark. A record
 * that was accepted later carries none: a ready bit of this pass is not its own. To mark needs the
 * registry lock. */
void connection_watch(CtrlPoint *record);
bool connection_watched(const CtrlPoint *record);

/* Notes how many bytes of a listed record's connection the phone has not taken yet, and counts
 * those that anybody adds. Later: were there some, and has it taken nothing since? */
void connection_note_unsent(CtrlPoint *record);
void connection_count_sent(CtrlPoint *record, uint32_t added);
bool connection_took_nothing(const CtrlPoint *record);

/* ---- References and copies, as far as they need no registry (link/connection_target.h has the
 * rest). */

/* 0 for a host's own record. */
uint32_t connection_identity(const CtrlPoint *cp);

bool connection_is_used(const CtrlPoint *record);

/* Zeroes `copy` and copies what never changes: the server thread may be receiving. */
void connection_copy_constants(CtrlPoint *copy, const CtrlPoint *record);

/* Fills a reference: a record that names a listed one for as long as that lives, and no connection
 * afterwards. It holds no use. Needs the registry lock. */
void connection_name(CtrlPoint *record, CtrlPoint *reference);

/* Lets the copy hold a use of the record. Needs the registry lock. */
void connection_bind_copy(CtrlPoint *copy, CtrlPoint *record);

/* Releases the use that the copy holds, if any, and frees the copy. */
void connection_free_copy(CtrlPoint *copy);

/* The service has stopped: every copy made so far is of a past run. */
void connection_end_run(void);
bool connection_is_of_past_run(const CtrlPoint *copy);
