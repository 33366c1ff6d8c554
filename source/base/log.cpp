#include "base/log.h"

#include "base/line_format.h"
#include "base/lock.h"

#include <errno.h>
#include <netdb.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

struct Sink {
    IppLogSink function;
    void *context;
};

/* The lines of one thread that log_release() will deliver: a stream byte and a terminated text
 * each. */
struct Backlog {
    uint32_t depth;
    char *bytes;
    size_t used;
    size_t size;
};

/* A stalled broadcast prints a line every 10 ms, so the backlog is bounded: lines beyond the
 * maximum are dropped. */
const size_t BACKLOG_MAX = IPP_LOG_BACKLOG_MAX;
const size_t BACKLOG_INITIAL = 4096;

const size_t SHORT_LINE = 512; /* formatted on the stack */

/* What to do with a line, known without a lock. */
enum Destination { TO_STREAM, TO_SINK, NOWHERE };

Lock sink_lock;
Sink sink GUARDED_BY(sink_lock) = {nullptr, nullptr};
int destination = TO_STREAM;
int dumps_wanted = 0;
__thread Backlog backlog = {0, nullptr, 0, 0};

} // namespace

static Sink current_sink()
{
    lock_take(&sink_lock);
    const Sink copy = sink;
    lock_release(&sink_lock);
    return copy;
}

static bool reserve(size_t size)
{
    if (size <= backlog.size - backlog.used) {
        return true;
    }
    if (size > BACKLOG_MAX - backlog.used) {
        return false;
    }
    const size_t doubled = backlog.size == 0 ? BACKLOG_INITIAL : backlog.size * 2;
    const size_t wanted = doubled - backlog.used < size ? backlog.used + size : doubled;
    char *grown = static_cast<char *>(realloc(backlog.bytes, wanted));
    if (grown == nullptr) {
        return false;
    }
    backlog.bytes = grown;
    backlog.size = wanted;
    return true;
}

/* The bytes that the line takes in the backlog; it is there if there was room. */
__attribute__((format(printf, 2, 0))) static size_t put_behind(int stream, const char *format,
                                                               va_list values)
{
    const size_t room = backlog.size - backlog.used;
    if (room == 0) {
        return line_format(nullptr, 0, format, values) + 2;
    }
    char *to = backlog.bytes + backlog.used;
    *to = static_cast<char>(stream);
    return line_format(to + 1, room - 1, format, values) + 2;
}

__attribute__((format(printf, 2, 0))) static void append_to_backlog(int stream, const char *format,
                                                                    va_list values)
{
    const int reason = errno;
    const size_t room = backlog.size - backlog.used;
    const size_t size = put_behind(stream, format, values);
    if (size <= room) {
        backlog.used += size;
    } else if (reserve(size)) {
        errno = reason; /* which the line may contain */
        backlog.used += put_behind(stream, format, values);
    }
}

static void write_to_stream(int stream, const char *text)
{
    fputs(text, stream == IPP_LOG_ERR ? stderr : stdout);
}

/* The host may have removed the sink since the line was formatted. */
static void deliver(int stream, const char *text)
{
    const Sink to = current_sink();
    if (to.function != nullptr) {
        to.function(stream, text, to.context);
    } else {
        write_to_stream(stream, text);
    }
}

__attribute__((format(printf, 1, 0))) static char *long_line(const char *format, va_list values)
{
    char *text = nullptr;
    return vasprintf(&text, format, values) < 0 ? nullptr : text;
}

__attribute__((format(printf, 3, 0))) static void
write_now(void (*write)(int, const char *), int stream, const char *format, va_list values)
{
    const int reason = errno; /* which the line may contain */
    char line[SHORT_LINE];
    if (line_format(line, sizeof line, format, values) < sizeof line) {
        write(stream, line);
        return;
    }
    errno = reason;
    char *text = long_line(format, values);
    if (text != nullptr) {
        write(stream, text);
    }
    free(text);
}

__attribute__((format(printf, 2, 0))) static void write_line(int stream, const char *format,
                                                             va_list values)
{
    const int saved = errno;
    const int to = __atomic_load_n(&destination, __ATOMIC_ACQUIRE);
    if (to == TO_SINK && backlog.depth > 0) {
        append_to_backlog(stream, format, values);
    } else if (to != NOWHERE) {
        write_now(to == TO_SINK ? deliver : write_to_stream, stream, format, values);
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

void log_hold()
{
    backlog.depth++;
}

void log_release()
{
    if (--backlog.depth > 0 || backlog.bytes == nullptr) {
        return;
    }
    const int saved = errno;
    char *bytes = backlog.bytes;
    const size_t used = backlog.used;
    backlog.bytes = nullptr; /* the sink may call the library, which may print */
    backlog.used = 0;
    backlog.size = 0;
    for (size_t at = 0; at < used; at += strlen(bytes + at + 1) + 2) {
        deliver(bytes[at], bytes + at + 1);
    }
    free(bytes);
    errno = saved;
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
