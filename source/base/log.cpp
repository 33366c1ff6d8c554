#include "base/log.h"

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

Lock sink_lock;
Sink sink GUARDED_BY(sink_lock) = {nullptr, nullptr};
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

static void append_to_backlog(int stream, const char *text)
{
    const size_t size = strlen(text) + 2;
    if (reserve(size)) {
        backlog.bytes[backlog.used] = static_cast<char>(stream);
        memcpy(backlog.bytes + backlog.used + 1, text, size - 1);
        backlog.used += size;
    }
}

/* The host may have removed the sink since the line was formatted. */
static void deliver(const Sink *to, int stream, const char *text)
{
    if (to->function != nullptr) {
        to->function(stream, text, to->context);
    } else {
        fputs(text, stream == IPP_LOG_ERR ? stderr : stdout);
    }
}

__attribute__((format(printf, 3, 0))) static void write_to_sink(const Sink *to, int stream,
                                                                const char *format, va_list values)
{
    char *text = nullptr;
    if (vasprintf(&text, format, values) < 0) {
        return;
    }
    if (backlog.depth > 0) {
        append_to_backlog(stream, text);
    } else {
        deliver(to, stream, text);
    }
    free(text);
}

__attribute__((format(printf, 2, 0))) static void write_line(int stream, const char *format,
                                                             va_list values)
{
    const int saved = errno;
    const Sink to = current_sink();
    if (to.function != nullptr) {
        write_to_sink(&to, stream, format, values);
    } else {
        vfprintf(stream == IPP_LOG_ERR ? stderr : stdout, format, values);
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
    const Sink to = current_sink();
    for (size_t at = 0; at < used; at += strlen(bytes + at + 1) + 2) {
        deliver(&to, bytes[at], bytes + at + 1);
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
    lock_release(&sink_lock);
}

void ipp_set_log_dumps(int on)
{
    __atomic_store_n(&dumps_wanted, on, __ATOMIC_RELAXED);
}
