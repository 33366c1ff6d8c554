#include "base/log.h"

#include <errno.h>
#include <netdb.h>
#include <pthread.h>
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

/* Lines of one thread that wait for log_release(): a stream byte and a terminated text each. */
struct Waiting {
    uint32_t depth;
    char *bytes;
    size_t used;
    size_t size;
};

/* A stalled broadcast prints a line every 10 ms; what waits is bounded, the rest is left out. */
const size_t WAITING_MOST = IPP_LOG_WAITING_MOST;
const size_t WAITING_FIRST = 4096;

pthread_mutex_t sink_lock = PTHREAD_MUTEX_INITIALIZER;
Sink sink = {nullptr, nullptr};
int dumps_wanted = 0;
__thread Waiting waiting = {0, nullptr, 0, 0};

} // namespace

static Sink current_sink()
{
    pthread_mutex_lock(&sink_lock);
    const Sink copy = sink;
    pthread_mutex_unlock(&sink_lock);
    return copy;
}

static bool has_room(size_t size)
{
    if (size <= waiting.size - waiting.used) {
        return true;
    }
    if (size > WAITING_MOST - waiting.used) {
        return false;
    }
    const size_t doubled = waiting.size == 0 ? WAITING_FIRST : waiting.size * 2;
    const size_t wanted = doubled - waiting.used < size ? waiting.used + size : doubled;
    char *grown = static_cast<char *>(realloc(waiting.bytes, wanted));
    if (grown == nullptr) {
        return false;
    }
    waiting.bytes = grown;
    waiting.size = wanted;
    return true;
}

static void keep_waiting(int stream, const char *text)
{
    const size_t size = strlen(text) + 2;
    if (has_room(size)) {
        waiting.bytes[waiting.used] = static_cast<char>(stream);
        memcpy(waiting.bytes + waiting.used + 1, text, size - 1);
        waiting.used += size;
    }
}

/* The sink may have been taken away while the line waited. */
static void deliver(const Sink *to, int stream, const char *text)
{
    if (to->function != nullptr) {
        to->function(stream, text, to->context);
    } else {
        fputs(text, stream == IPP_LOG_ERR ? stderr : stdout);
    }
}

__attribute__((format(printf, 3, 0))) static void give_to_sink(const Sink *to, int stream,
                                                               const char *format, va_list values)
{
    char *text = nullptr;
    if (vasprintf(&text, format, values) < 0) {
        return;
    }
    if (waiting.depth > 0) {
        keep_waiting(stream, text);
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
        give_to_sink(&to, stream, format, values);
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
    waiting.depth++;
}

void log_release()
{
    if (--waiting.depth > 0 || waiting.bytes == nullptr) {
        return;
    }
    const int saved = errno;
    char *bytes = waiting.bytes;
    const size_t used = waiting.used;
    waiting.bytes = nullptr; /* the sink may call back into the library and print */
    waiting.used = 0;
    waiting.size = 0;
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
    pthread_mutex_lock(&sink_lock);
    sink = {function, context};
    pthread_mutex_unlock(&sink_lock);
}

void ipp_set_log_dumps(int on)
{
    __atomic_store_n(&dumps_wanted, on, __ATOMIC_RELAXED);
}
