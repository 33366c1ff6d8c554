/* SPDX-License-Identifier: MIT */
/* Time-outs as points on the monotonic clock. */
#ifndef CP_CLOCK_H
#define CP_CLOCK_H

#include <cstdint>

/* Milliseconds on the monotonic clock. */
int64_t cp_now();

/* The time `timeout_ms` from now. */
int64_t cp_deadline(uint32_t timeout_ms);

/* Milliseconds until the deadline, from 0 to INT_MAX, for poll. */
int cp_time_left(int64_t deadline);

/* Waits until the descriptor is ready for `events` (as for poll) or the deadline has passed; polls
 * at least once. 1: ready, or in error, which the next call on it reports; 0: not in time; -1 with
 * errno on failure. */
int cp_wait_ready(int descriptor, short events, int64_t deadline);

#endif
