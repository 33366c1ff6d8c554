/* SPDX-License-Identifier: MIT */
#include "hostile/crowd.h"

#include "support/phone.h"
#include "support/wait_until.h"
#include "tvlink.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace
{

const int WIRELESS_SEGMENT = 1448;
const size_t HEADER = 7;
const size_t LENGTH_AT = 3;

void set(int fd, int level, int option, int value)
{
    setsockopt(fd, level, option, &value, sizeof value);
}

void prepare(int fd, const Manner &manner)
{
    if (manner.receive_buffer != 0) {
        set(fd, SOL_SOCKET, SO_RCVBUF, manner.receive_buffer);
    }
    if (manner.small_segments) {
        set(fd, IPPROTO_TCP, TCP_MAXSEG, WIRELESS_SEGMENT);
    }
    if (manner.from != 0) {
        const sockaddr_in own = address_of(manner.from, 0);
        set(fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, 1);
        bind(fd, reinterpret_cast<const sockaddr *>(&own), sizeof own);
    }
}

} // namespace

sockaddr_in address_of(uint32_t host, uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    return address;
}

Descriptor searcher(uint32_t host)
{
    Descriptor found(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in own = address_of(host, IPP_ANSWER_PORT);
    if (bind(found.get(), reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0) {
        found.close();
    }
    return found;
}

const Bytes &search_packet()
{
    static const Bytes packet = bytes("A5 A5 08 00 'AIIP'");
    return packet;
}

void send_search(const Descriptor &from, const Bytes &packet)
{
    const sockaddr_in television = address_of(INADDR_LOOPBACK, IPP_SEARCH_PORT);
    sendto(from.get(), packet.data(), packet.size(), 0,
           reinterpret_cast<const sockaddr *>(&television), sizeof television);
}

Descriptor connect_to(uint16_t port, const Manner &manner)
{
    Descriptor phone(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in television = address_of(INADDR_LOOPBACK, port);
    prepare(phone.get(), manner);
    if (connect(phone.get(), reinterpret_cast<const sockaddr *>(&television), sizeof television) !=
        0) {
        phone.close();
    }
    return phone;
}

Descriptor connect_phone(const Manner &manner)
{
    return connect_to(IPP_CONTROL_PORT, manner);
}

void reset(Descriptor &phone)
{
    const linger at_once = {1, 0};
    setsockopt(phone.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    phone.close();
}

bool answers(const Descriptor &phone)
{
    const Bytes &heartbeat = phone_heartbeat();
    return send(phone.get(), heartbeat.data(), heartbeat.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(heartbeat.size()) &&
           read_frame(phone.get()) == answer_heartbeat();
}

bool has_ended(const Descriptor &phone)
{
    uint8_t bytes[4096];
    ssize_t got = 0;
    do {
        got = recv(phone.get(), bytes, sizeof bytes, MSG_DONTWAIT);
    } while (got > 0);
    return got == 0 || (errno != EAGAIN && errno != EINTR);
}

bool wait_for_all_ended(const std::vector<Descriptor> &phones)
{
    for (const Descriptor &phone : phones) {
        if (!wait_until([&] { return has_ended(phone); })) {
            return false;
        }
    }
    return true;
}

Inbox::Inbox(int fd) : fd_(fd), ended_(false)
{
}

void Inbox::take(const std::function<void(const uint8_t *frame, size_t size)> &use)
{
    uint8_t bytes[65536];
    for (;;) {
        const ssize_t got = recv(fd_, bytes, sizeof bytes, MSG_DONTWAIT);
        if (got <= 0) {
            ended_ = ended_ || got == 0 || (errno != EAGAIN && errno != EINTR);
            break;
        }
        waiting_.insert(waiting_.end(), bytes, bytes + got);
    }
    size_t at = 0;
    while (waiting_.size() - at >= HEADER) {
        const size_t size = number_at(waiting_.data() + at + LENGTH_AT);
        if (size < HEADER || waiting_.size() - at < size) {
            break;
        }
        use(waiting_.data() + at, size);
        at += size;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(at));
}

bool Inbox::ended() const
{
    return ended_;
}

size_t Inbox::unfinished() const
{
    return waiting_.size();
}

int Inbox::fd() const
{
    return fd_;
}

void wait_for_mail(const std::vector<Inbox> &inboxes, int milliseconds)
{
    std::vector<pollfd> entries;
    for (const Inbox &inbox : inboxes) {
        if (!inbox.ended()) {
            entries.push_back({inbox.fd(), POLLIN, 0});
        }
    }
    poll(entries.data(), static_cast<nfds_t>(entries.size()), milliseconds);
}

uint32_t number_at(const uint8_t *at)
{
    uint32_t number = 0;
    for (unsigned i = 0; i < 4; i++) {
        number |= static_cast<uint32_t>(at[i]) << (8 * i);
    }
    return number;
}

Bytes little_endian(uint32_t value, size_t size)
{
    Bytes result;
    for (size_t i = 0; i < size; i++) {
        result.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return result;
}

static Bytes text_bytes(const std::string &text)
{
    return joined(
        {little_endian(static_cast<uint32_t>(text.size()), 2), Bytes(text.begin(), text.end())});
}

Bytes call_frame(const std::string &request)
{
    return wire_frame(0x21, joined({bytes("04 50 08"), text_bytes(request)}));
}

Bytes call_reply(const std::string &request)
{
    return wire_frame(0x22, joined({bytes("04 50 01"), text_bytes(request), bytes("00")}));
}

Bytes numbers_frame(uint32_t number)
{
    return wire_frame(0x05, joined({bytes("01 1C 40 01 08"), text_bytes(std::to_string(number))}));
}
