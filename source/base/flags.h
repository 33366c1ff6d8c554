/* SPDX-License-Identifier: MIT */
/* Atomic access to the service-wide flags.
 *
 * A run lasts from one start of the service to its stop. By its number a detached thread, a
 * connection or a queued request that outlives its run is told from those of a later one. */
#pragma once

#include "tvlink/flags.h"

bool flags_inited(void);
void flags_set_inited(bool inited);

bool flags_running(void);

/* g_thread_run as it is: a host may set it. */
int flags_thread_run(void);
void flags_stop_running(void);

/* Sets the running flag and begins the next run. */
void flags_start_run(void);

/* The number of the latest run; 1 for the first, 0 before it. */
uint32_t flags_run_number(void);

/* True while this run is the latest one and has not been stopped. */
bool flags_run_is_current(uint32_t run);

/* True once this run or a later one has been stopped, whatever the running flag says: a host may
 * set that itself. */
bool flags_run_has_ended(uint32_t run);

uint16_t flags_device_type(void);
void flags_set_device_type(uint16_t type);
