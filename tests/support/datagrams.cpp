/* SPDX-License-Identifier: MIT */
#include "support/datagrams.h"

#include "support/wait_until.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

static sockaddr_in place(const char *address, uint16_t port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = inet_addr(address);
    return result;
}

Descriptor datagram_socket(uint16_t port, const char *address)
{
    Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in own = place(address, port);
    if (bind(fd.get(), reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0) {
        std::perror("binding a datagram socket");
        std::abort();
    }
    return fd;
}

bool join_group(int fd, const char *group, const char *interface_address)
{
    ip_mreq request = {};
    request.imr_multiaddr.s_addr = inet_addr(group);
    request.imr_interface.s_addr = inet_addr(interface_address);
    return setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request) == 0;
}

bool send_datagram(int fd, const Bytes &data, const char *address, uint16_t port)
{
    const sockaddr_in to = place(address, port);
    return sendto(fd, data.data(), data.size(), 0, reinterpret_cast<const sockaddr *>(&to),
                  sizeof to) == static_cast<ssize_t>(data.size());
}

static std::optional<Datagram> take(int fd, std::chrono::milliseconds patience)
{
    pollfd entry = {fd, POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(patience.count())) <= 0) {
        return std::nullopt;
    }
    uint8_t data[512];
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t length =
        recvfrom(fd, data, sizeof data, 0, reinterpret_cast<sockaddr *>(&from), &size);
    if (length < 0) {
        return std::nullopt;
    }
    char dotted[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &from.sin_addr, dotted, sizeof dotted);
    return Datagram{hex(data, static_cast<size_t>(length)), dotted, ntohs(from.sin_port)};
}

std::optional<Datagram> receive_datagram(int fd)
{
    return take(fd, PATIENCE);
}

std::string received(int fd)
{
    const std::optional<Datagram> datagram = receive_datagram(fd);
    return datagram ? datagram->data : "nothing arrived";
}

bool nothing_received(int fd)
{
    return !take(fd, std::chrono::milliseconds(0));
}

bool network_has_member(const char *group)
{
    char wanted[9];
    std::snprintf(wanted, sizeof wanted, "%08X", static_cast<unsigned>(inet_addr(group)));
    std::ifstream table("/proc/thread-self/net/igmp");
    std::string word;
    while (table >> word) {
        if (word == wanted) {
            return true;
        }
    }
    return false;
}
