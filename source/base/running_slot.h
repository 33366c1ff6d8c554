/* SPDX-License-Identifier: MIT */
/* The request that the worker runs, for the guard's slot_warn_ms. */
#pragma once

#include "tvlink/observer.h"

/* For the worker; the second once the slot has returned. */
void running_slot_begin(const IppRequest &request, uint64_t now_us);
void running_slot_end(void);

/* For the server thread: warns, once for each request, of a slot that has run for too long. */
void running_slot_check(void);

/* How long the server thread may wait until the next check, `most_ms` at most; `busy`: the worker
 * may begin with a request at any moment. */
int running_slot_wait_ms(int most_ms, bool busy);
