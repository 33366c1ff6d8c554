/* SPDX-License-Identifier: MIT */
/* Calls of the host's functions that wait until the thread holds no lock of the library.
 *
 * Code that takes such a lock calls calls_hold() before it and calls_release() after unlocking. In
 * between, calls of the host are kept in order instead of being made. */
#pragma once

#include <stddef.h>

typedef void (*HeldCall)(const void *data);

/* Calls nest; the outermost calls_release() makes the calls that this thread has kept. It leaves
 * errno alone. */
void calls_hold(void);
void calls_release(void);

bool calls_are_held(void);

/* Keeps a copy of the data for the call. False when the thread would keep more than `most` bytes of
 * data, or memory is out. */
bool calls_keep(HeldCall call, const void *data, size_t size, size_t most);
