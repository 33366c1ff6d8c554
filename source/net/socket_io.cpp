/* SPDX-License-Identifier: MIT */
#include "net/socket_io.h"

#include "base/log.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

static const useconds_t RETRY_PAUSE_US = 10000;

int set_socket_noblock(int fd)
{
    if (fd < 0) {
        return -1;
    }
    const int flags = fcntl(fd, F_GETFL, 0);
    return fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

int set_socket_timeout(int fd, int ms)
{
    if (fd < 0 || ms < 0) {
        return -1;
    }
    struct timeval limit = {};
    const int64_t microseconds = static_cast<int64_t>(ms) * 1000;
    limit.tv_usec = static_cast<int>(microseconds > INT_MAX ? INT_MAX : microseconds);
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
        log_out("err: setsockopt() recv timeout fail\n");
        return -1;
    }
    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) {
        log_out("err: setsockopt() send timeout fail\n");
        return -1;
    }
    return 0;
}

bool send_worth_retrying()
{
    return errno == EAGAIN || errno == EINTR;
}

void set_option_without_effect(int fd, int option)
{
    setsockopt(fd, IPPROTO_TCP, option, reinterpret_cast<const void *>(1), 0);
}

int socket_send(int fd, const void *data, int length)
{
    if (fd < 0 || data == nullptr || length < 1) {
        return -1;
    }
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    int sent = 0;
    while (sent < length) {
        const ssize_t taken =
            send(fd, bytes + sent, static_cast<size_t>(length - sent), MSG_NOSIGNAL);
        if (taken >= 0) {
            sent += static_cast<int>(taken);
        } else if (send_worth_retrying()) {
            usleep(RETRY_PAUSE_US);
        } else {
            log_out("err:socket_send(): %s:%d,errno=%d\n", "socket_send", 115, errno);
            return -1;
        }
    }
    return 0;
}
