/* Time that no one can set. */
#pragma once

#include "tvlink/clock.h"

/* Milliseconds since some fixed moment. */
uint64_t clock_elapsed_ms(void);
