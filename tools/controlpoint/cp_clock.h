/* Time-outs as points on the monotonic clock. */
#ifndef CP_CLOCK_H
#define CP_CLOCK_H

#include <cstdint>

/* Milliseconds on a clock that nobody can set. */
int64_t cp_now();

/* The moment `timeout_ms` from now. */
int64_t cp_deadline(uint32_t timeout_ms);

/* Milliseconds until then, as poll takes them: from 0 to the greatest int. */
int cp_time_left(int64_t deadline);

/* Waits until the descriptor is ready for `events` (as for poll) or the deadline has passed; looks
 * at least once. 1: ready (or in error: the next call on it tells); 0: not in time; -1: errno. */
int cp_wait_ready(int descriptor, short events, int64_t deadline);

#endif
