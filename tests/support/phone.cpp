/* SPDX-License-Identifier: MIT */
#include "support/phone.h"

#include "tvlink.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

constexpr size_t LENGTH_AT = 3;
constexpr size_t HEADER = 7;

[[noreturn]] void give_up(const char *what)
{
    std::perror(what);
    std::abort();
}

size_t announced_length(const Bytes &header)
{
    uint32_t length = 0;
    for (size_t i = 0; i < 4; i++) {
        length |= static_cast<uint32_t>(header[LENGTH_AT + i]) << (8 * i);
    }
    return length;
}

} // namespace

const Bytes &phone_heartbeat()
{
    static const Bytes frame = wire_frame(0xEE, {});
    return frame;
}

const Bytes &answer_heartbeat()
{
    static const Bytes frame = wire_frame(0xEE, bytes("'HEART'"));
    return frame;
}

Bytes read_frame(int fd)
{
    const Bytes header = receive_bytes(fd, HEADER);
    if (header.size() < HEADER) {
        return header;
    }
    const size_t length = std::max(announced_length(header), HEADER);
    return joined({header, receive_bytes(fd, length - HEADER)});
}

Phone::Phone(Later) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (socket_.get() < 0) {
        give_up("socket");
    }
}

Phone::Phone(int receive_buffer) : Phone(Later())
{
    if (receive_buffer > 0 && setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer,
                                         sizeof receive_buffer) != 0) {
        give_up("setsockopt");
    }
    connect();
}

void Phone::connect()
{
    if (!try_connect()) {
        give_up("connect");
    }
}

bool Phone::try_connect()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(IPP_CONTROL_PORT);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) ==
           0;
}

void Phone::send(const Bytes &data) const
{
    send_bytes(socket_.get(), data);
}

Bytes Phone::read_frame() const
{
    return ::read_frame(socket_.get());
}

Bytes Phone::exchange_heartbeat() const
{
    send(phone_heartbeat());
    return read_frame();
}

bool Phone::is_dropped() const
{
    return wait_for_end(socket_.get());
}

void Phone::hang_up()
{
    socket_.close();
}

void Phone::reset()
{
    const linger at_once = {1, 0};
    if (setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once) != 0) {
        give_up("setsockopt");
    }
    socket_.close();
}

void Phone::finish_sending() const
{
    shutdown(socket_.get(), SHUT_WR);
}

int Phone::fd() const
{
    return socket_.get();
}

uint16_t Phone::port() const
{
    return port_of(socket_.get());
}
