/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "base/log.h"
#include "net/socket_io.h"

#include <errno.h>
#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/socket.h>
#include <unistd.h>

static const useconds_t RETRY_PAUSE_US = 10;

int soc_send(int fd, const void *data, int length, int flags)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    int sent = 0;
    while (sent < length) {
        const ssize_t taken =
            send(fd, bytes + sent, static_cast<size_t>(length - sent), flags | MSG_NOSIGNAL);
        if (taken == 0) {
            log_out("err:send data %s %d\n", "soc_send", 212);
            return -1;
        }
        if (taken > 0) {
            sent += static_cast<int>(taken);
        } else if (send_worth_retrying()) {
            usleep(RETRY_PAUSE_US);
        } else {
            log_out("err:send data %s %d,errno=%d\n", "soc_send", 221, errno);
            return -1;
        }
    }
    return sent;
}

int socket_recv(int fd, void *buffer, int length, int flags)
{
    if (length < 0 || (buffer == nullptr && length > 0)) {
        return -1;
    }
    return static_cast<int>(recv(fd, buffer, static_cast<size_t>(length), flags));
}

/* The last chunk may exceed the total, which may be INT_MAX. */
static int as_int(int64_t count)
{
    return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}

int socket_send_pack(int fd, const void *data, int total, int chunk)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    int64_t count = 0;
    while (chunk > 0 && count < total) {
        const int sent = soc_send(fd, bytes + static_cast<ptrdiff_t>(count), chunk, 0);
        if (sent < 0) {
            break;
        }
        count += sent;
    }
    return as_int(count);
}

int socket_recv_pack(int fd, void *buffer, int total, int chunk)
{
    uint8_t *bytes = static_cast<uint8_t *>(buffer);
    int64_t count = 0;
    while (chunk > 0 && count < total) {
        const int received = socket_recv(fd, bytes + static_cast<ptrdiff_t>(count), chunk, 0);
        if (received < 0) {
            break;
        }
        count += received;
    }
    return as_int(count);
}
