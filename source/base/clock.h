/* SPDX-License-Identifier: MIT */
/* The time of day, and a monotonic clock. */
#pragma once

#include "tvlink/clock.h"

/* Milliseconds of the monotonic clock; setting the time of day does not affect it. */
uint64_t clock_elapsed_ms(void);
uint64_t clock_elapsed_us(void); /* microseconds */
