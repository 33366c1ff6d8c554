/* SPDX-License-Identifier: MIT */
/* Wakes the threads that wait for descriptors when the service stops.
 *
 * The host's thread opens the signal before it starts them, raises it, and closes it once they have
 * ended. It is level-triggered and never read: raised once, it wakes all of them, also one that
 * begins to wait later. Without a descriptor for it a stop waits for their time-outs. */
#pragma once

/* Does nothing while the signal is open: threads may be waiting for its descriptor. */
void stop_signal_open(void);
void stop_signal_raise(void);
void stop_signal_close(void);

/* Readable once the signal is raised; -1: there is none. */
int stop_signal_fd(void);
