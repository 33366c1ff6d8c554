/* Threads that take turns on one system thread, so that the same input always does the same. Each
 * has a stack of its own and runs when it is told to, up to a place where others may go on. */
#pragma once

struct Fiber;

/* Stands before its body, which begins with its first turn and never returns. It lives as long as
 * the process. */
Fiber *fiber_new(void (*body)());

/* Gives it a turn of so many steps, from outside. False when all that it did was to wait. */
bool fiber_run(Fiber *fiber, unsigned steps);

/* Whose turn it is; null outside. */
const Fiber *fiber_current();

/* From inside: a step, which may be the turn's last; and the turn's end, since there is nothing to
 * do until others have had theirs. errno survives both. */
void fiber_step();
void fiber_wait();

/* From inside: what was waited for has come. */
void fiber_go_on();
