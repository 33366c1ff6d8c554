/* SPDX-License-Identifier: MIT */
/* Sends that find no room. */
#pragma once

#include "support/system_calls.h"
#include "support/wait_until.h"

#include <atomic>
#include <cerrno>
#include <memory>

constexpr int SMALL_BUFFER = 4096; /* of a phone that soon takes no more */
constexpr size_t MORE_THAN_ALL_BUFFERS = 16 << 20;

/* Counts them while it lives. */
class FullBuffers
{
public:
    bool wait_for(int count) const
    {
        return wait_until([&] { return *met_ >= count; });
    }

private:
    /* Shared: a thread of the library may outlive the test that it sends for. */
    const std::shared_ptr<std::atomic<int>> met_ = std::make_shared<std::atomic<int>>(0);
    const Replaced<decltype(system_send)> send_{
        system_send, [met = met_](int fd, const void *data, size_t size, int flags) {
            const ssize_t taken = system_send.real(fd, data, size, flags);
            *met += taken < 0 && errno == EAGAIN ? 1 : 0;
            return taken;
        }};
};
