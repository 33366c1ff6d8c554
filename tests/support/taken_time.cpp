/* SPDX-License-Identifier: MIT */
#include "support/taken_time.h"

#include <cerrno>
#include <utility>

static thread_local TakenSleeps *taker = nullptr;

TakenSleeps::TakenSleeps(std::function<void(uint64_t microseconds)> instead)
    : instead_(std::move(instead))
{
    taker = this;
}

TakenSleeps::~TakenSleeps()
{
    taker = nullptr;
}

const std::vector<uint64_t> &TakenSleeps::all() const
{
    return all_;
}

void TakenSleeps::take(uint64_t microseconds)
{
    const int error = errno;
    all_.push_back(microseconds);
    if (instead_) {
        instead_(microseconds);
    }
    errno = error;
}

static bool taken(uint64_t microseconds)
{
    if (taker != nullptr) {
        taker->take(microseconds);
    }
    return taker != nullptr;
}

/* From the start of the program on, below whatever a test puts over them. */
static const Replaced usleeps(system_usleep, [](useconds_t microseconds) {
    return taken(microseconds) ? 0 : system_usleep.real(microseconds);
});
static const Replaced sleeps(system_sleep, [](unsigned seconds) {
    return taken(uint64_t{seconds} * 1000000) ? 0 : system_sleep.real(seconds);
});
