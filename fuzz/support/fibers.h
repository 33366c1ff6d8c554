/* SPDX-License-Identifier: MIT */
/* Cooperative threads on one system thread, which make every run reproducible. Each has a stack of
 * its own and runs until it yields. */
#pragma once

struct Fiber;

/* The body starts with the first call of fiber_run and must never return. The fiber is never
 * destroyed. */
Fiber *fiber_new(void (*body)());

/* From outside: runs the fiber for at most so many steps. False when it made no progress. */
bool fiber_run(Fiber *fiber, unsigned steps);

/* The running fiber; null outside of all. */
const Fiber *fiber_current();

/* From inside: counts one step and yields after the last; yields at once, to wait for other fibers.
 * Both preserve errno. */
void fiber_step();
void fiber_wait();

/* From inside: the wait is over. */
void fiber_progressed();
