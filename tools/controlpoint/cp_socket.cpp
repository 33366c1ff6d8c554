/* SPDX-License-Identifier: MIT */
#include "cp_socket.h"

#include "cp_clock.h"

#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

static CpStatus status_of_connect(int error)
{
    switch (error) {
    case 0:
        return CP_OK;
    case ECONNREFUSED:
        return CP_REFUSED;
    case ETIMEDOUT:
        return CP_TIMED_OUT;
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EADDRNOTAVAIL:
        return CP_NOT_FOUND;
    case ECONNRESET:
    case ECONNABORTED:
        return CP_CLOSED;
    default:
        errno = error;
        return CP_SYSTEM;
    }
}

static CpStatus finish_connect(int descriptor, int64_t deadline)
{
    const int ready = cp_wait_ready(descriptor, POLLOUT, deadline);
    if (ready == 0) {
        return CP_TIMED_OUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (ready < 0 || getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        return CP_SYSTEM;
    }
    return status_of_connect(error);
}

static CpStatus connect_until(int descriptor, const sockaddr_in *address, int64_t deadline)
{
    /* A request is one small write, which must not wait until the last one is acknowledged. */
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(address), sizeof *address) == 0) {
        return CP_OK;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        return status_of_connect(errno);
    }
    return finish_connect(descriptor, deadline);
}

CpStatus cp_socket_connect(int *descriptor, const sockaddr_in *address, int64_t deadline)
{
    *descriptor = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (*descriptor < 0) {
        return CP_SYSTEM;
    }
    const CpStatus status = connect_until(*descriptor, address, deadline);
    if (status != CP_OK) {
        const int error = errno; /* the cause of the failure is preserved */
        close(*descriptor);
        *descriptor = -1;
        errno = error;
    }
    return status;
}

bool cp_socket_transient(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

CpStatus cp_socket_failure(const char **problem)
{
    switch (errno) {
    case EPIPE:
    case ECONNRESET:
    case ECONNABORTED:
        *problem = "the connection was reset";
        return CP_CLOSED;
    case ETIMEDOUT:
    case EHOSTUNREACH:
    case ENETUNREACH:
        *problem = "the television is out of reach";
        return CP_CLOSED;
    default:
        return CP_SYSTEM;
    }
}
