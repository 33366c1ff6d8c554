/* SPDX-License-Identifier: MIT */
/* The time of day, and a monotonic clock. */
#pragma once

#include "tvlink/clock.h"

/* Milliseconds of the monotonic clock; setting the time of day does not affect it. */
uint64_t clock_elapsed_ms(void);
uint64_t clock_elapsed_us(void); /* microseconds */

/* Microseconds between two times, at most UINT32_MAX; 0 when the first is the later one. */
uint32_t clock_between_us(uint64_t from_us, uint64_t to_us);
