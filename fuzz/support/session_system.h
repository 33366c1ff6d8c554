/* SPDX-License-Identifier: MIT */
/* The system calls of the service in a session: they inject the faults of the input, yield to other
 * lanes, and return the time of the input. */
#pragma once

/* Effective until restore_system_calls(). */
void replace_system_calls();
