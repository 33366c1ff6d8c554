/* SPDX-License-Identifier: MIT */
/* Diagnostic lines: to the standard streams, or to the sink that the host has set.
 *
 * No line changes errno. The sink is never called with a lock of the library held: lines for it
 * wait with other calls of the host (base/held_calls.h). The standard streams are written at once.
 */
#pragma once

#include "tvlink.h"

/* Formats to standard output / standard error. `%m` is the errno of the call. */
void log_out(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_err(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* A line with a level: the service's own remark to the host, on standard error without a sink. */
void log_warning(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* The lines of perror and herror, for the standard error stream or the sink. */
void log_perror(const char *prefix);
void log_herror(const char *prefix);

/* The trace line that marks a fixed place in a function. */
void log_trace(const char *function, int line);

/* True when the host has turned dumps of buffers on. */
bool log_dumps_wanted(void);
