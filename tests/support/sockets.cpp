/* SPDX-License-Identifier: MIT */
#include "support/sockets.h"

#include "support/wait_until.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

[[noreturn]] void give_up(const char *what)
{
    std::perror(what);
    std::abort();
}

int checked(int result, const char *what)
{
    if (result < 0) {
        give_up(what);
    }
    return result;
}

Descriptor stream_socket()
{
    return Descriptor(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
}

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/* Waits for bytes or for the end of the stream. */
bool readable(int fd)
{
    pollfd entry = {fd, POLLIN, 0};
    const int wait_ms = static_cast<int>(std::chrono::milliseconds(PATIENCE).count());
    int result = poll(&entry, 1, wait_ms);
    while (result < 0 && errno == EINTR) {
        result = poll(&entry, 1, wait_ms);
    }
    return result > 0;
}

} // namespace

Descriptor::Descriptor(int fd) : fd_(fd)
{
}

Descriptor::~Descriptor()
{
    close();
}

Descriptor::Descriptor(Descriptor &&other) noexcept : fd_(other.release())
{
}

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept
{
    std::swap(fd_, other.fd_);
    return *this;
}

int Descriptor::get() const
{
    return fd_;
}

int Descriptor::release()
{
    return std::exchange(fd_, -1);
}

void Descriptor::close()
{
    if (fd_ >= 0) {
        ::close(release());
    }
}

ConnectedPair tcp_pair()
{
    const Descriptor listener = listening_on();
    ConnectedPair pair = {stream_socket(), Descriptor()};
    const sockaddr_in address = loopback(port_of(listener.get()));
    checked(connect(pair.near.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
            "connect");
    pair.far =
        Descriptor(checked(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC), "accept4"));
    return pair;
}

ConnectedPair local_pair()
{
    int ends[2];
    checked(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "socketpair");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Descriptor listening_on(uint16_t port)
{
    Descriptor listener = stream_socket();
    const int on = 1; /* earlier connections of the port may not be over */
    checked(setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "setsockopt");
    sockaddr_in address = loopback(port);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    checked(bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
            "bind");
    checked(listen(listener.get(), 5), "listen");
    return listener;
}

uint16_t port_of(int fd)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    checked(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

size_t fill_send_buffer(int fd)
{
    const Bytes block(4096, 0x5A);
    size_t total = 0;
    for (size_t step = block.size(); step > 0;) {
        const ssize_t sent = send(fd, block.data(), step, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) {
            total += static_cast<size_t>(sent);
        } else {
            step /= 2; /* up to the last byte that fits */
        }
    }
    return total;
}

void send_bytes(int fd, const Bytes &data)
{
    for (size_t sent = 0; sent < data.size();) {
        sent += static_cast<size_t>(checked(
            static_cast<int>(send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL)),
            "send"));
    }
}

Bytes receive_bytes(int fd, size_t size)
{
    Bytes received(size);
    size_t used = 0;
    while (used < size && readable(fd)) {
        const ssize_t got = recv(fd, received.data() + used, size - used, 0);
        if (got <= 0) {
            break;
        }
        used += static_cast<size_t>(got);
    }
    received.resize(used);
    return received;
}

bool wait_for_end(int fd)
{
    uint8_t byte = 0;
    return readable(fd) && recv(fd, &byte, 1, 0) <= 0;
}
