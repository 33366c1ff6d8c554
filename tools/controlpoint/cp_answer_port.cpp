/* SPDX-License-Identifier: MIT */
#include "cp_answer_port.h"

#include "cp_address.h"
#include "cp_clock.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

enum { PORT_RETRY_MS = 20 };

int cp_answer_socket()
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    /* By default a socket also receives the groups that other programs have joined. */
    const int off = 0;
    if (descriptor >= 0) {
        setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
    }
    return descriptor;
}

CpStatus cp_bind_answer_port(int descriptor, int64_t deadline)
{
    const sockaddr_in any = cp_socket_address(htonl(INADDR_ANY), CP_ANSWER_PORT);
    while (bind(descriptor, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0) {
        if (errno != EADDRINUSE || cp_time_left(deadline) == 0) {
            return CP_SYSTEM;
        }
        poll(nullptr, 0, PORT_RETRY_MS);
    }
    return CP_OK;
}

CpStatus cp_take_answer(int descriptor, CpTelevision *television)
{
    uint8_t packet[256];
    sockaddr_in from = {};
    socklen_t from_size = sizeof from;
    const ssize_t got = recvfrom(descriptor, packet, sizeof packet, 0,
                                 reinterpret_cast<sockaddr *>(&from), &from_size);
    if (got < 0) {
        return CP_TIMED_OUT;
    }
    const CpStatus status = cp_decode_answer({packet, static_cast<size_t>(got)}, television);
    if (status == CP_OK) {
        television->source = from.sin_addr.s_addr;
    }
    return status;
}

void cp_close_keeping_errno(int descriptor)
{
    const int error = errno;
    if (descriptor >= 0) {
        close(descriptor);
    }
    errno = error;
}
