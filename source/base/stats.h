/* SPDX-License-Identifier: MIT */
/* The counters of ipp_stats(). Any thread; none waits for anything but another thread's addition.
 */
#pragma once

#include "tvlink/observer.h"

/* Add one to a counter of 32 bits, or take one away; they return its new value. */
uint32_t stats_count(uint32_t IppStats::*counter);
uint32_t stats_count_down(uint32_t IppStats::*counter);

/* Raises a counter of 32 bits to at least this value. */
void stats_raise(uint32_t IppStats::*counter, uint32_t value);

void stats_slot_took(uint32_t microseconds, uint32_t code);

void stats_received(uint32_t bytes);
void stats_sent(uint32_t bytes);
