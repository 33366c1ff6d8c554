#include "support/watched_call.h"

#include "support/replaced_call.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>

#include <pthread.h>
#include <sys/socket.h>

namespace
{

struct Watch {
    std::atomic<bool> on;
    std::atomic<bool> every_thread;
    std::atomic<long> calls;
    std::atomic<long> first;
    std::atomic<long> times;
    std::atomic<int> error;
};

Watch watches[SYSTEM_FUNCTIONS];
thread_local bool watched_here[SYSTEM_FUNCTIONS];

/* Counts the call; the errno with which it is to fail, or 0. */
int failure(SystemFunction function)
{
    Watch &watch = watches[function];
    if (!watch.on || (!watch.every_thread && !watched_here[function])) {
        return 0;
    }
    const long call = ++watch.calls;
    return call >= watch.first && call < watch.first + watch.times ? watch.error.load() : 0;
}

bool fails(SystemFunction function)
{
    const int error = failure(function);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

} // namespace

WatchedCall::WatchedCall(SystemFunction function, Threads threads) : function_(function)
{
    watches[function].every_thread = threads == Threads::EVERY;
    watched_here[function] = true;
    fail(0, 1, 0);
    watches[function].on = true;
}

WatchedCall::~WatchedCall()
{
    watches[function_].on = false;
    watched_here[function_] = false;
}

void WatchedCall::fail(int error, long first, long times)
{
    Watch &watch = watches[function_];
    watch.error = error;
    watch.first = first;
    watch.times = times;
    watch.calls = 0;
}

long WatchedCall::calls() const
{
    return watches[function_].calls;
}

/* The linker gives the real functions the first name and calls of them the second. */
extern "C" {

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__wrap_realloc(void *block, size_t size);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __real_pthread_join(pthread_t thread, void **result);
int __wrap_pthread_join(pthread_t thread, void **result);
int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
int __real_setsockopt(int fd, int level, int option, const void *value, socklen_t size);
int __wrap_setsockopt(int fd, int level, int option, const void *value, socklen_t size);
int __real_listen(int fd, int backlog);
int __wrap_listen(int fd, int backlog);
int __real_accept4(int fd, sockaddr *address, socklen_t *size, int flags);
int __wrap_accept4(int fd, sockaddr *address, socklen_t *size, int flags);
int __wrap_ioctl(int fd, unsigned long request, ...);
ssize_t __real_send(int fd, const void *data, size_t size, int flags);
ssize_t __wrap_send(int fd, const void *data, size_t size, int flags);

void *__wrap_malloc(size_t size)
{
    return fails(CALL_MALLOC) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails(CALL_CALLOC) ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
    return fails(CALL_REALLOC) ? nullptr : __real_realloc(block, size);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument)
{
    const int error = failure(CALL_PTHREAD_CREATE);
    return error != 0 ? error : __real_pthread_create(thread, attributes, body, argument);
}

int __wrap_pthread_join(pthread_t thread, void **result)
{
    const int error = failure(CALL_PTHREAD_JOIN);
    return error != 0 ? error : __real_pthread_join(thread, result);
}

int __wrap_socket(int domain, int type, int protocol)
{
    return fails(CALL_SOCKET) ? -1 : __real_socket(domain, type, protocol);
}

int __wrap_setsockopt(int fd, int level, int option, const void *value, socklen_t size)
{
    return fails(CALL_SETSOCKOPT) ? -1 : __real_setsockopt(fd, level, option, value, size);
}

int __wrap_listen(int fd, int backlog)
{
    return fails(CALL_LISTEN) ? -1 : __real_listen(fd, backlog);
}

int __wrap_accept4(int fd, sockaddr *address, socklen_t *size, int flags)
{
    return fails(CALL_ACCEPT4) ? -1 : __real_accept4(fd, address, size, flags);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    va_list values;
    va_start(values, request);
    void *value = va_arg(values, void *);
    va_end(values);
    return fails(CALL_IOCTL) ? -1 : system_ioctl(fd, request, value);
}

ssize_t __wrap_send(int fd, const void *data, size_t size, int flags)
{
    return fails(CALL_SEND) ? -1 : __real_send(fd, data, size, flags);
}

} /* extern "C" */
