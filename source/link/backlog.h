/* SPDX-License-Identifier: MIT */
/* What peers have not taken yet, under the guard's send_backlog_bytes. Every connection has a
 * backlog; its send lock guards it. The server thread sends what is in it when there is room. */
#pragma once

#include "wire/frame.h"

struct BacklogQueue;
struct BacklogPart;

/* A pointer, since most connections never need more: a table holds one for each. */
struct Backlog {
    BacklogQueue *queue; /* null until something has been kept; from then on until clear */
};

/* Keeps a copy of the bytes. False, with the reason in errno: ENOBUFS for more than the guard
 * allows the connection, or all together, and ENOMEM. */
bool backlog_keep(Backlog *backlog, const uint8_t *bytes, uint32_t size, uint64_t now_ms);

/* Reserves the place of a frame that is still being made: what is kept after it waits for it. Null,
 * with the reason in errno, as above. */
BacklogPart *backlog_reserve(Backlog *backlog, uint64_t now_ms);

/* Keeps a copy of the bytes, none included, in the reserved place, which ends here, also when that
 * fails as above. */
bool backlog_fill(Backlog *backlog, BacklogPart *place, const uint8_t *bytes, uint32_t size,
                  uint64_t now_ms);

/* The next bytes to send; of size 0 when there are none, or a reserved place comes first. */
Frame backlog_next(const Backlog *backlog);

/* So many of the next bytes were sent, by an attempt that began at that time. */
void backlog_drop(Backlog *backlog, uint32_t size, uint64_t now_ms);

/* When the peer last took a byte, or the next ones became the next. */
uint64_t backlog_progress_ms(const Backlog *backlog);

/* True when something is kept or a place reserved. */
bool backlog_is_used(const Backlog *backlog);

/* True when there are next bytes to send. Any thread for which the backlog is not cleared, without
 * its lock. */
bool backlog_has_next(const Backlog *backlog);

/* For its last user. */
void backlog_clear(Backlog *backlog);

/* The bytes that wait for all peers together. Any thread, without a lock. */
uint32_t backlog_total(void);

/* ---- Waking the server thread, which may be waiting for other things. */

/* Before the server thread begins, and once it has ended. */
void backlog_signal_open(void);
void backlog_signal_close(void);

/* Readable from raise to clear; -1: there is none, and the server finds what waits at its next
 * pass. */
int backlog_signal_fd(void);
void backlog_signal_raise(void);
void backlog_signal_clear(void);
