#include "support/session_phones.h"

#include "support/session_stalls.h"

#include <algorithm>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

static const size_t MOST_CONNECTIONS = 16;

void phone_reads(Connection *connection)
{
    uint8_t bytes[4096];
    ssize_t count = 0;
    while (connection->end >= 0 && (count = recvfrom(connection->end, bytes, sizeof bytes,
                                                     MSG_DONTWAIT, nullptr, nullptr)) > 0) {
        connection->received.insert(connection->received.end(), bytes, bytes + count);
        note_taken(connection);
    }
}

void phone_writes(Connection *connection, size_t size)
{
    Bytes &outbox = connection->outbox;
    const size_t wanted = size == 0 ? outbox.size() : std::min(size, outbox.size());
    const ssize_t count =
        sendto(connection->end, outbox.data(), wanted, MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0);
    if (count > 0) {
        outbox.erase(outbox.begin(), outbox.begin() + count);
    }
}

void phone_closes(Connection *connection)
{
    connection->excused = true;
    connection->may_miss = true;
    close(connection->end);
    connection->end = -1;
}

void connect_phone(unsigned phone, unsigned how)
{
    int ends[2];
    if (connection_of(phone) != nullptr || session.connections.size() == MOST_CONNECTIONS) {
        return;
    }
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    if ((how & 1) != 0) {
        const int small = 1;
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    Connection connection = {};
    connection.phone = phone;
    connection.waiting = fcntl(ends[0], F_DUPFD_CLOEXEC, PHONES_FROM);
    connection.end = fcntl(ends[1], F_DUPFD_CLOEXEC, PHONES_FROM);
    connection.service = -1;
    connection.reads = (how & 2) == 0;
    close(ends[0]);
    close(ends[1]);
    session.accept_queue.push_back(session.connections.size());
    session.connections.push_back(connection);
    must(write(session.knock, "", 1) == 1, "a phone can wait");
}

void send_or_keep(Connection *connection, const Bytes &bytes, unsigned how)
{
    append(&connection->outbox, bytes);
    if ((how & 1) == 0) {
        phone_writes(connection, 0);
    }
}

void make_call(Connection *connection, unsigned how, size_t size)
{
    const unsigned number = connection->calls++;
    std::string text = (how & 2) != 0 ? "!" : "#";
    text += static_cast<char>('A' + number_of(connection));
    text += std::to_string(number);
    text.append(size * 8, static_cast<char>('a' + number % 26));
    CpBuffer payload = {};
    must(cp_build_string_rpc(&payload, cp_text(text.c_str())) == CP_OK,
         "there is memory for a call");
    send_or_keep(connection, build_frame(CP_FRAME_RPC, take_buffer(&payload)), how);
}

void ask(Connection *connection, unsigned how)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput body = fuzz_part(&session.input, length);
    if (body.left > 0) {
        send_or_keep(connection, build_frame(body.at[0], Bytes(body.at + 1, body.at + body.left)),
                     how);
    }
}

void send_bytes(Connection *connection, unsigned how)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput bytes = fuzz_part(&session.input, length);
    send_or_keep(connection, Bytes(bytes.at, bytes.at + bytes.left), how);
}

void read_what_came(Connection *connection, unsigned how)
{
    connection->reads = (how & 1) != 0 || ((how & 2) == 0 && connection->reads);
    phone_reads(connection);
}

void shut_phone(Connection *connection, unsigned how)
{
    static const int HOWS[] = {SHUT_WR, SHUT_RD, SHUT_RDWR, SHUT_WR};
    connection->excused = true;
    connection->may_miss = true;
    shutdown(connection->end, HOWS[how]);
}
