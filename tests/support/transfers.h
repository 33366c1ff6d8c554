/* What tests of sending and receiving have in common. */
#pragma once

#include "support/sockets.h"

#include <csignal>

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
