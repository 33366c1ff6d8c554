/* SPDX-License-Identifier: MIT */
/* Processor time and heap use of a piece of work. */
#pragma once

#include "heap.h"

#include <ctime>

struct Cost {
    double seconds = 0;
    size_t peak = 0;
};

inline double processor_seconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <typename Work> Cost measure(Work work)
{
    const size_t held = heap_held();
    heap_watch();
    const double before = processor_seconds();
    work();
    return {processor_seconds() - before, heap_peak() - held};
}
