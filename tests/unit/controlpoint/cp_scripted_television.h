/* SPDX-License-Identifier: MIT */
/* A television that does what a test tells it: a TCP server for one control point. */
#ifndef CP_SCRIPTED_TELEVISION_H
#define CP_SCRIPTED_TELEVISION_H

#include "cp_test_bytes.h"
#include "support/emulator.h"

#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace cp_test
{

/* Long enough for every machine; no test waits for its end. */
inline constexpr uint32_t patience_ms = 30000;

/* Where nobody listens. */
inline constexpr CpStatus refused = KEPT_ERRORS_ARE_FOREIGN ? CP_SYSTEM : CP_REFUSED;

/* A socket that is bound to a free port of the loopback interface. */
inline int bound_socket(uint16_t *port)
{
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size), 0);
    *port = ntohs(address.sin_port);
    return descriptor;
}

inline int listening_socket(uint16_t *port)
{
    const int descriptor = bound_socket(port);
    EXPECT_EQ(listen(descriptor, 1), 0);
    return descriptor;
}

/* The television's end of the connection, as a script sees it. */
struct Peer {
    int descriptor;

    void send(const Bytes &bytes) const
    {
        size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t now = ::send(descriptor, &bytes[sent], bytes.size() - sent, MSG_NOSIGNAL);
            if (now <= 0) {
                return; /* the control point has gone: the test has seen what it wanted */
            }
            sent += static_cast<size_t>(now);
        }
    }

    Bytes receive(size_t size) const
    {
        Bytes bytes(size);
        const ssize_t got = recv(descriptor, bytes.data(), size, MSG_WAITALL);
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }

    /* The next frame, whole; fewer bytes when the control point has gone. */
    Bytes receive_frame() const
    {
        const Bytes head = receive(7);
        if (head.size() < 7) {
            return head;
        }
        const size_t size = head[3] + head[4] * size_t{256} + head[5] * size_t{65536};
        return head + receive(size - 7);
    }

    void wait_until_gone() const
    {
        while (!receive(4096).empty()) {
        }
    }

    /* The connection ends with a reset instead of an orderly close. */
    void reset_when_closed() const
    {
        const linger now = {1, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
};

class ScriptedTelevision
{
public:
    explicit ScriptedTelevision(std::function<void(const Peer &)> script)
        : listener(listening_socket(&port)),
          thread([this, script = std::move(script)] { run(script); })
    {
    }

    /* To be declared before the connection to it, which so is closed first and ends the script. */
    ~ScriptedTelevision()
    {
        thread.join();
        close(listener);
    }

    ScriptedTelevision(const ScriptedTelevision &) = delete;
    ScriptedTelevision &operator=(const ScriptedTelevision &) = delete;

    uint16_t port = 0;

private:
    void run(const std::function<void(const Peer &)> &script) const
    {
        const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        script({descriptor});
        close(descriptor);
    }

    int listener;
    std::thread thread;
};

/* A connection to it, closed at the end of the scope. */
class Phone
{
public:
    explicit Phone(const ScriptedTelevision &television)
    {
        EXPECT_EQ(cp_connect(&connection, "127.0.0.1", television.port, patience_ms), CP_OK);
    }
    ~Phone()
    {
        cp_disconnect(connection);
    }
    Phone(const Phone &) = delete;
    Phone &operator=(const Phone &) = delete;

    CpConnection *connection = nullptr;
};

} // namespace cp_test

#endif
