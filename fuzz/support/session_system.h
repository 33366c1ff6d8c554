/* The system calls of the service in a session: they inject the faults of the input, yield to other
 * lanes, and return the time of the input. */
#pragma once

/* Effective until system_calls is cleared. */
void replace_system_calls();

/* Replaces socket and listen while the control port is opened. */
void replace_listener_calls(bool replaced);
