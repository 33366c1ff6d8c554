/* Diagnostic lines: to the standard streams, or to the sink that the host has set.
 *
 * No line changes errno. The sink is never called with a lock of the library held: code that takes
 * such a lock calls log_hold() before it and log_release() after unlocking. In between, the lines
 * of that thread for the sink collect in a backlog. The standard streams are written at once. */
#pragma once

#include "tvlink.h"

/* Formats to standard output / standard error. `%m` is the errno of the call. */
void log_out(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_err(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* The lines of perror and herror, for the standard error stream or the sink. */
void log_perror(const char *prefix);
void log_herror(const char *prefix);

/* The trace line that marks a fixed place in a function. */
void log_trace(const char *function, int line);

/* Calls nest; the outermost log_release() delivers the backlog of the calling thread. */
void log_hold(void);
void log_release(void);

/* True when the host has turned dumps of buffers on. */
bool log_dumps_wanted(void);
