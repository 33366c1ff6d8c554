/* SPDX-License-Identifier: MIT */
#include "support/host_connection.h"

#include <cstdlib>

#include <sys/socket.h>

HostConnection::HostConnection() : ends_(local_pair()), record_()
{
    record_.fd = ends_.near.get();
    if (pthread_mutex_init(&record_.send_lock, nullptr) != 0) {
        std::abort();
    }
}

HostConnection::~HostConnection()
{
    pthread_mutex_destroy(&record_.send_lock);
}

CtrlPoint *HostConnection::record()
{
    return &record_;
}

std::string HostConnection::received()
{
    Bytes all;
    uint8_t part[4096];
    for (;;) {
        const ssize_t size = recv(ends_.far.get(), part, sizeof part, MSG_DONTWAIT);
        if (size <= 0) {
            return hex(all);
        }
        all.insert(all.end(), part, part + size);
    }
}

void HostConnection::hang_up()
{
    ends_.far.close();
}

std::string frame_around(const std::string &body)
{
    const Bytes content = bytes(body);
    return content.empty() ? ""
                           : hex(wire_frame(content[0], Bytes(content.begin() + 1, content.end())));
}
