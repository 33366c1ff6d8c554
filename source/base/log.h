/* Diagnostic lines: to the standard streams, or to the sink that the host has set.
 *
 * No line changes errno. The sink is never called with a lock of the library held: whoever takes
 * such a lock calls log_hold() first and log_release() after giving it back, and the lines of that
 * thread wait in between. The standard streams are written at once. */
#pragma once

#include "tvlink.h"

/* Formats to standard output / standard error. `%m` is the errno of the call. */
void log_out(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_err(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* What perror and herror print, by the same way as every other line. */
void log_perror(const char *prefix);
void log_herror(const char *prefix);

/* The trace line that marks a fixed place in a function. */
void log_trace(const char *function, int line);

void log_hold(void);
void log_release(void);

/* Has the host asked for dumps of buffers? */
bool log_dumps_wanted(void);
