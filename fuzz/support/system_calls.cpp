#include "support/system_calls.h"

#include <cerrno>

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
ssize_t __real_send(int fd, const void *data, size_t size, int flags);
ssize_t __wrap_send(int fd, const void *data, size_t size, int flags);
int __real_accept4(int fd, sockaddr *address, socklen_t *length, int flags);
int __wrap_accept4(int fd, sockaddr *address, socklen_t *length, int flags);
int __wrap_bind(int fd, const sockaddr *address, socklen_t length);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_usleep(useconds_t microseconds);

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

ssize_t __wrap_send(int fd, const void *data, size_t size, int flags)
{
    return system_calls.send == nullptr ? __real_send(fd, data, size, flags)
                                        : system_calls.send(data, size);
}

int __wrap_accept4(int fd, sockaddr *address, socklen_t *length, int flags)
{
    return system_calls.accept4 == nullptr ? __real_accept4(fd, address, length, flags)
                                           : system_calls.accept4();
}

int __wrap_bind(int, const sockaddr *, socklen_t)
{
    return 0;
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *, void *(*body)(void *),
                          void *argument)
{
    *thread = pthread_self();
    return system_calls.pthread_create == nullptr ? EAGAIN
                                                  : system_calls.pthread_create(body, argument);
}

int __wrap_usleep(useconds_t)
{
    return 0;
}

} /* extern "C" */
