/* SPDX-License-Identifier: MIT */
#include "support/session_phones.h"

#include <algorithm>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

static const size_t MAX_CONNECTIONS = 16;

void phone_reads(Connection *connection)
{
    uint8_t bytes[4096];
    ssize_t count = 0;
    while (connection->phone_fd >= 0 && (count = recvfrom(connection->phone_fd, bytes, sizeof bytes,
                                                          MSG_DONTWAIT, nullptr, nullptr)) > 0) {
        connection->received.insert(connection->received.end(), bytes, bytes + count);
    }
}

void phone_flushes(Connection *connection, size_t size)
{
    Bytes &outbox = connection->outbox;
    const size_t wanted = size == 0 ? outbox.size() : std::min(size, outbox.size());
    const ssize_t count = sendto(connection->phone_fd, outbox.data(), wanted,
                                 MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0);
    if (count > 0) {
        outbox.erase(outbox.begin(), outbox.begin() + count);
    }
}

void phone_closes(Connection *connection)
{
    connection->may_drop = true;
    connection->may_lose_bytes = true;
    close(connection->phone_fd);
    connection->phone_fd = -1;
}

void connect_phone(unsigned phone, unsigned options)
{
    int ends[2];
    if (connection_of(phone) != nullptr || session.connections.size() == MAX_CONNECTIONS) {
        return;
    }
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    if ((options & 1) != 0) {
        const int small = 1;
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    Connection connection = {};
    connection.phone = phone;
    connection.pending_fd = fcntl(ends[0], F_DUPFD_CLOEXEC, FIRST_PHONE_FD);
    connection.phone_fd = fcntl(ends[1], F_DUPFD_CLOEXEC, FIRST_PHONE_FD);
    connection.service_fd = -1;
    connection.outgoing.holder = LANE_COUNT;
    connection.reads = (options & 2) == 0;
    close(ends[0]);
    close(ends[1]);
    session.accept_queue.push_back(session.connections.size());
    session.connections.push_back(connection);
    must(write(session.listener_peer, "", 1) == 1, "a phone can wait");
}

void send_or_buffer(Connection *connection, const Bytes &bytes, unsigned options)
{
    append(&connection->outbox, bytes);
    if ((options & 1) == 0) {
        phone_flushes(connection, 0);
    }
}

void send_call(Connection *connection, unsigned options, size_t size)
{
    const unsigned number = connection->calls++;
    std::string text = (options & 2) != 0 ? "!" : "#";
    text += static_cast<char>('A' + index_of(connection));
    text += std::to_string(number);
    text.append(size * 8, static_cast<char>('a' + number % 26));
    CpBuffer payload = {};
    must(cp_build_string_rpc(&payload, cp_text(text.c_str())) == CP_OK,
         "there is memory for a call");
    send_or_buffer(connection, build_frame(CP_FRAME_RPC, take_buffer(&payload)), options);
}

void send_request(Connection *connection, unsigned options)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput body = fuzz_part(&session.input, length);
    if (body.left > 0) {
        send_or_buffer(connection, build_frame(body.at[0], Bytes(body.at + 1, body.at + body.left)),
                       options);
    }
}

void send_bytes(Connection *connection, unsigned options)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput bytes = fuzz_part(&session.input, length);
    send_or_buffer(connection, Bytes(bytes.at, bytes.at + bytes.left), options);
}

void read_arrived(Connection *connection, unsigned options)
{
    connection->reads = (options & 1) != 0 || ((options & 2) == 0 && connection->reads);
    phone_reads(connection);
}

void shut_down_phone(Connection *connection, unsigned options)
{
    static const int DIRECTIONS[] = {SHUT_WR, SHUT_RD, SHUT_RDWR, SHUT_WR};
    connection->may_drop = true;
    connection->may_lose_bytes = true;
    shutdown(connection->phone_fd, DIRECTIONS[options]);
}
