/* SPDX-License-Identifier: MIT */
#include "support/scripted_server.h"

#include <gtest/gtest.h>

#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

ScriptedServer::ScriptedServer(std::vector<std::string> pieces, End end)
    : pieces_(std::move(pieces)), end_(end), listener_(listening_on()),
      sleeps_([this](uint64_t) { go_on(); })
{
}

uint16_t ScriptedServer::port() const
{
    return port_of(listener_.get());
}

std::string ScriptedServer::received() const
{
    const Bytes all = receive_bytes(connection_.get(), 4000000);
    return std::string(all.begin(), all.end());
}

const std::vector<uint64_t> &ScriptedServer::pauses() const
{
    return sleeps_.all();
}

void ScriptedServer::accept_client()
{
    connection_ = Descriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    ASSERT_GE(connection_.get(), 0);
    const int on = 1; /* a piece does not wait for the acknowledgement of the one before */
    ASSERT_EQ(setsockopt(connection_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), 0);
}

void ScriptedServer::go_on()
{
    if (!accepted_) {
        accepted_ = true;
        accept_client();
    }
    if (next_ < pieces_.size()) {
        const std::string &piece = pieces_[next_];
        next_++;
        send_bytes(connection_.get(), Bytes(piece.begin(), piece.end()));
        return;
    }
    if (end_ == CLOSES) {
        shutdown(connection_.get(), SHUT_WR); /* what the client has sent may still be read */
    }
    if (end_ == RESETS) {
        const linger at_once = {1, 0};
        setsockopt(connection_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        connection_.close();
    }
}
