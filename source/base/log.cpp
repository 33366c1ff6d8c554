/* SPDX-License-Identifier: MIT */
#include "base/log.h"

#include "base/held_calls.h"
#include "base/line_format.h"
#include "base/lock.h"

#include <errno.h>
#include <limits.h>
#include <netdb.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

namespace
{

struct Sink {
    IppLogSink function;
    void *context;
};

const size_t SHORT_LINE = 512; /* with the byte of its stream; formatted on the stack */

/* What to do with a line, known without a lock. */
enum Destination { TO_STREAM, TO_SINK, NOWHERE };

Lock sink_lock;
Sink sink GUARDED_BY(sink_lock) = {nullptr, nullptr};
int destination = TO_STREAM;
int dumps_wanted = 0;

} // namespace

static Sink current_sink()
{
    lock_take(&sink_lock);
    const Sink copy = sink;
    lock_release(&sink_lock);
    return copy;
}

/* ---- One line: the byte of its stream, and its text. */

static void write_to_stream(const char *line, size_t)
{
    fputs(line + 1, line[0] == IPP_LOG_OUT ? stdout : stderr);
}

/* The host may have removed the sink since the line was formatted. */
static void deliver(const char *line, size_t size)
{
    const Sink to = current_sink();
    if (to.function != nullptr) {
        to.function(line[0], line + 1, to.context);
    } else {
        write_to_stream(line, size);
    }
}

static void deliver_held(const void *line)
{
    deliver(static_cast<const char *>(line), 0);
}

/* A stalled broadcast prints a line every 10 ms: what is kept is bounded. */
static void keep(const char *line, size_t size)
{
    calls_keep(deliver_held, line, size, IPP_LOG_BACKLOG_MAX);
}

__attribute__((format(printf, 3, 0))) static void write_long(void (*write)(const char *, size_t),
                                                             int stream, const char *format,
                                                             va_list values, size_t length)
{
    const int reason = errno; /* which the line may contain */
    char *line = static_cast<char *>(length > INT_MAX ? nullptr : malloc(length + 2));
    if (line != nullptr) {
        errno = reason;
        line[0] = static_cast<char>(stream);
        line_format(line + 1, length + 1, format, values);
        write(line, length + 2);
    }
    free(line);
}

__attribute__((format(printf, 3, 0))) static void
write_with(void (*write)(const char *, size_t), int stream, const char *format, va_list values)
{
    const int reason = errno;
    char line[SHORT_LINE];
    line[0] = static_cast<char>(stream);
    const size_t length = line_format(line + 1, sizeof line - 1, format, values);
    if (length < sizeof line - 1) {
        write(line, length + 2);
    } else {
        errno = reason;
        write_long(write, stream, format, values, length);
    }
}

__attribute__((format(printf, 2, 0))) static void write_line(int stream, const char *format,
                                                             va_list values)
{
    const int saved = errno;
    const int to = __atomic_load_n(&destination, __ATOMIC_ACQUIRE);
    if (to == TO_SINK) {
        write_with(calls_are_held() ? keep : deliver, stream, format, values);
    } else if (to == TO_STREAM) {
        write_with(write_to_stream, stream, format, values);
    }
    errno = saved;
}

void log_out(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    write_line(IPP_LOG_OUT, format, values);
    va_end(values);
}

void log_err(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    write_line(IPP_LOG_ERR, format, values);
    va_end(values);
}

void log_warning(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    write_line(IPP_LOG_WARNING, format, values);
    va_end(values);
}

void log_perror(const char *prefix)
{
    log_err("%s: %m\n", prefix);
}

void log_herror(const char *prefix)
{
    const bool named = prefix != nullptr && *prefix != '\0';
    log_err("%s%s%s\n", named ? prefix : "", named ? ": " : "", hstrerror(h_errno));
}

void log_trace(const char *function, int line)
{
    log_out("zqt===  %s %d\n", function, line);
}

bool log_dumps_wanted()
{
    return __atomic_load_n(&dumps_wanted, __ATOMIC_RELAXED) != 0;
}

void ipp_set_log_sink(IppLogSink function, void *context)
{
    lock_take(&sink_lock);
    sink = {function, context};
    const Destination other = function == nullptr ? TO_STREAM : TO_SINK;
    __atomic_store_n(&destination, function == ipp_log_discard ? NOWHERE : other, __ATOMIC_RELEASE);
    lock_release(&sink_lock);
}

void ipp_log_discard(int, const char *, void *)
{
}

void ipp_set_log_dumps(int on)
{
    __atomic_store_n(&dumps_wanted, on, __ATOMIC_RELAXED);
}
