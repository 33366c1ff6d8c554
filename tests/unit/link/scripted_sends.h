/* SPDX-License-Identifier: MIT */
/* Sends that go as the test has written down. */
#pragma once

#include "support/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>

/* While one lives, each send on the descriptor goes by the next step: a positive number lets it
 * take so many bytes, 0 makes it return 0, a negative one fails it with that errno. After the last
 * step sends are the system's again. */
class ScriptedSends
{
public:
    ScriptedSends(int fd, std::vector<int> steps)
        : fd_(fd), steps_(std::move(steps)),
          replaced_(system_send, [this](int to, const void *data, size_t size, int flags) {
              return to == fd_ ? step(data, size, flags) : system_send.real(to, data, size, flags);
          })
    {
    }

    struct Call {
        size_t size;
        int flags;
    };

    std::vector<size_t> sizes() const
    {
        std::vector<size_t> result;
        for (const Call &call : calls_) {
            result.push_back(call.size);
        }
        return result;
    }

    const std::vector<Call> &calls() const
    {
        return calls_;
    }

private:
    ssize_t step(const void *data, size_t size, int flags)
    {
        calls_.push_back({size, flags});
        const int now =
            calls_.size() > steps_.size() ? static_cast<int>(size) : steps_[calls_.size() - 1];
        if (now < 0) {
            errno = -now;
            return -1;
        }
        return now == 0
                   ? 0
                   : system_send.real(fd_, data, std::min(size, static_cast<size_t>(now)), flags);
    }

    const int fd_;
    const std::vector<int> steps_;
    std::vector<Call> calls_;
    const Replaced<decltype(system_send)> replaced_;
};
