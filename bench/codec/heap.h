/* SPDX-License-Identifier: MIT */
/* Measures the heap use of a call, also inside other libraries. */
#pragma once

#include <cstddef>

/* Bytes that the whole program has allocated now, and the peak since heap_watch(). */
size_t heap_held();
void heap_watch();
size_t heap_peak();
