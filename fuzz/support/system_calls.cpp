#include "support/system_calls.h"

#include "support/fuzz_input.h"

#include <cerrno>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

SystemCalls system_calls;

/* The linker gives the real functions the first name and calls of them the second. */
extern "C" {

ssize_t __real_recvfrom(int fd, void *data, size_t size, int flags, sockaddr *from,
                        socklen_t *length);
ssize_t __wrap_recvfrom(int fd, void *data, size_t size, int flags, sockaddr *from,
                        socklen_t *length);
ssize_t __real_sendto(int fd, const void *data, size_t size, int flags, const sockaddr *to,
                      socklen_t length);
ssize_t __wrap_sendto(int fd, const void *data, size_t size, int flags, const sockaddr *to,
                      socklen_t length);
ssize_t __real_recv(int fd, void *data, size_t size, int flags);
ssize_t __wrap_recv(int fd, void *data, size_t size, int flags);
ssize_t __real_send(int fd, const void *data, size_t size, int flags);
ssize_t __wrap_send(int fd, const void *data, size_t size, int flags);
int __real_ioctl(int fd, unsigned long request, void *argument);
int __wrap_ioctl(int fd, unsigned long request, void *argument);
int __real_select(int count, fd_set *readable, fd_set *writable, fd_set *urgent, timeval *limit);
int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *urgent, timeval *limit);
int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
int __real_listen(int fd, int backlog);
int __wrap_listen(int fd, int backlog);
int __real_getsockname(int fd, sockaddr *name, socklen_t *length);
int __wrap_getsockname(int fd, sockaddr *name, socklen_t *length);
int __real_accept4(int fd, sockaddr *address, socklen_t *length, int flags);
int __wrap_accept4(int fd, sockaddr *address, socklen_t *length, int flags);
int __real_shutdown(int fd, int how);
int __wrap_shutdown(int fd, int how);
int __real_close(int fd);
int __wrap_close(int fd);
int __wrap_bind(int fd, const sockaddr *address, socklen_t length);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __real_pthread_join(pthread_t thread, void **result);
int __wrap_pthread_join(pthread_t thread, void **result);
int __wrap_usleep(useconds_t microseconds);
int __real_gettimeofday(timeval *now, void *zone);
int __wrap_gettimeofday(timeval *now, void *zone);
int __real_clock_gettime(clockid_t clock, timespec *now);
int __wrap_clock_gettime(clockid_t clock, timespec *now);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);
int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);
int __real_sem_wait(sem_t *items);
int __wrap_sem_wait(sem_t *items);
int __real_sem_post(sem_t *items);
int __wrap_sem_post(sem_t *items);

/* ---- Sockets */

ssize_t __wrap_recvfrom(int fd, void *data, size_t size, int flags, sockaddr *from,
                        socklen_t *length)
{
    return system_calls.recvfrom == nullptr ? __real_recvfrom(fd, data, size, flags, from, length)
                                            : system_calls.recvfrom(data, size, from);
}

ssize_t __wrap_sendto(int fd, const void *data, size_t size, int flags, const sockaddr *to,
                      socklen_t length)
{
    return system_calls.sendto == nullptr ? __real_sendto(fd, data, size, flags, to, length)
                                          : system_calls.sendto(data, size, to);
}

ssize_t __wrap_recv(int fd, void *data, size_t size, int flags)
{
    return system_calls.recv == nullptr ? __real_recv(fd, data, size, flags)
                                        : system_calls.recv(fd, data, size);
}

ssize_t __wrap_send(int fd, const void *data, size_t size, int flags)
{
    return system_calls.send == nullptr ? __real_send(fd, data, size, flags)
                                        : system_calls.send(fd, data, size);
}

int __wrap_ioctl(int fd, unsigned long request, void *argument)
{
    if (system_calls.bytes_unsent != nullptr && request == SIOCOUTQ) {
        *static_cast<int *>(argument) = system_calls.bytes_unsent(fd);
        return 0;
    }
    return system_calls.bytes_arriving == nullptr || request != FIONREAD
               ? __real_ioctl(fd, request, argument)
               : system_calls.bytes_arriving(fd, static_cast<int *>(argument));
}

int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *urgent, timeval *limit)
{
    return system_calls.select == nullptr ? __real_select(count, readable, writable, urgent, limit)
                                          : system_calls.select(count, readable);
}

int __wrap_socket(int domain, int type, int protocol)
{
    return system_calls.socket == nullptr ? __real_socket(domain, type, protocol)
                                          : system_calls.socket();
}

int __wrap_listen(int fd, int backlog)
{
    return system_calls.listen == nullptr ? __real_listen(fd, backlog) : system_calls.listen();
}

int __wrap_getsockname(int fd, sockaddr *name, socklen_t *length)
{
    return system_calls.getsockname == nullptr ? __real_getsockname(fd, name, length)
                                               : system_calls.getsockname(name);
}

int __wrap_accept4(int fd, sockaddr *address, socklen_t *length, int flags)
{
    return system_calls.accept4 == nullptr ? __real_accept4(fd, address, length, flags)
                                           : system_calls.accept4(address);
}

int __wrap_shutdown(int fd, int how)
{
    if (system_calls.shutdown != nullptr) {
        system_calls.shutdown(fd);
    }
    return __real_shutdown(fd, how);
}

int __wrap_close(int fd)
{
    if (system_calls.close != nullptr) {
        system_calls.close(fd);
    }
    return __real_close(fd);
}

int __wrap_bind(int, const sockaddr *, socklen_t)
{
    return 0;
}

/* ---- Threads */

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *, void *(*body)(void *),
                          void *argument)
{
    *thread = pthread_self();
    return system_calls.pthread_create == nullptr ? EAGAIN
                                                  : system_calls.pthread_create(body, argument);
}

int __wrap_pthread_join(pthread_t thread, void **result)
{
    return system_calls.pthread_join == nullptr ? __real_pthread_join(thread, result)
                                                : system_calls.pthread_join();
}

int __wrap_usleep(useconds_t)
{
    if (system_calls.usleep != nullptr) {
        system_calls.usleep();
    }
    return 0;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    if (system_calls.wait == nullptr) {
        return __real_pthread_mutex_lock(mutex);
    }
    int result = pthread_mutex_trylock(mutex);
    const bool waits = result == EBUSY;
    while (result == EBUSY) {
        system_calls.wait();
        result = pthread_mutex_trylock(mutex);
    }
    if (waits) {
        system_calls.go_on();
    }
    must(result == 0, "a lock that is wanted exists");
    return result;
}

int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    if (system_calls.wait == nullptr) {
        return __real_pthread_cond_wait(condition, mutex);
    }
    pthread_mutex_unlock(mutex);
    system_calls.wait();
    return __wrap_pthread_mutex_lock(mutex);
}

int __wrap_sem_wait(sem_t *items)
{
    if (system_calls.wait == nullptr) {
        return __real_sem_wait(items);
    }
    while (sem_trywait(items) != 0) {
        system_calls.wait();
    }
    system_calls.go_on();
    if (system_calls.taken != nullptr) {
        system_calls.taken(items);
    }
    return 0;
}

int __wrap_sem_post(sem_t *items)
{
    const int result = __real_sem_post(items);
    if (system_calls.posted != nullptr) {
        system_calls.posted(items);
    }
    return result;
}

/* ---- Time */

int __wrap_gettimeofday(timeval *now, void *zone)
{
    if (system_calls.seconds == nullptr) {
        return __real_gettimeofday(now, zone);
    }
    *now = {system_calls.seconds(), 0};
    return 0;
}

/* libFuzzer reads the other clocks. */
int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    if (system_calls.elapsed == nullptr || clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    *now = system_calls.elapsed();
    return 0;
}

} /* extern "C" */

int real_bytes_arriving(int fd, int *count)
{
    return __real_ioctl(fd, FIONREAD, count);
}
