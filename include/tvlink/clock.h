/* SPDX-License-Identifier: MIT */
/* The time of day. */
#ifndef TVLINK_CLOCK_H
#define TVLINK_CLOCK_H

#include "tvlink/api.h"

#include <stdint.h>
#include <time.h>

TVLINK_BEGIN

/* Whole seconds since the epoch. Any thread. */
TVLINK_API uint32_t get_current_time(void);

/* Reads the clock and returns it; prints nothing, the label is not used. Any thread. */
TVLINK_API time_t printTime(const char *label);

TVLINK_END

#endif
