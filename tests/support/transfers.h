/* SPDX-License-Identifier: MIT */
/* What tests of sending and receiving have in common. */
#pragma once

#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/wait_until.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>

#include <pthread.h>

/* Bytes of which no two near stretches are alike. */
inline Bytes pattern(size_t size)
{
    Bytes result(size);
    for (size_t i = 0; i < size; i++) {
        result[i] = static_cast<uint8_t>(i * 7 + i / 251);
    }
    return result;
}

/* While it lives, signals can end the system calls of a thread. */
class InterruptingSignals
{
public:
    InterruptingSignals()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {}; /* and no SA_RESTART */
        sigaction(SIGUSR1, &action, &former_);
    }
    ~InterruptingSignals()
    {
        sigaction(SIGUSR1, &former_, nullptr);
    }
    InterruptingSignals(const InterruptingSignals &) = delete;
    InterruptingSignals &operator=(const InterruptingSignals &) = delete;

    void raise_on(pthread_t thread) const
    {
        pthread_kill(thread, SIGUSR1);
    }

private:
    struct sigaction former_ = {};
};

/* Runs the function on a thread of its own with a socket whose send buffer is full; ends three of
 * its system calls by a signal, then empties the buffer. Returns so many of the bytes that were
 * sent. */
template <typename Function> Bytes arrived_though_interrupted(size_t size, Function send_all)
{
    const InterruptingSignals signals;
    const ConnectedPair pair = local_pair();
    const size_t before = fill_send_buffer(pair.near.get());
    std::atomic<int> interrupted(0);
    const Replaced sends(system_send, [&](int fd, const void *data, size_t length, int flags) {
        const ssize_t sent = system_send.real(fd, data, length, flags);
        interrupted += sent < 0 && errno == EINTR ? 1 : 0;
        return sent;
    });
    std::thread sender([&] { send_all(pair.near.get()); });
    EXPECT_TRUE(wait_until([&] {
        signals.raise_on(sender.native_handle());
        return interrupted >= 3;
    }));
    EXPECT_EQ(receive_bytes(pair.far.get(), before).size(), before);
    Bytes arrived = receive_bytes(pair.far.get(), size);
    sender.join();
    return arrived;
}
