#include "support/taken_sleeps.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

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

/* The linker gives the real functions the first name and calls of them the second. */
extern "C" {

int __real_usleep(useconds_t microseconds);
int __wrap_usleep(useconds_t microseconds);
unsigned __real_sleep(unsigned seconds);
unsigned __wrap_sleep(unsigned seconds);

int __wrap_usleep(useconds_t microseconds)
{
    return taken(microseconds) ? 0 : __real_usleep(microseconds);
}

unsigned __wrap_sleep(unsigned seconds)
{
    return taken(uint64_t{seconds} * 1000000) ? 0 : __real_sleep(seconds);
}

} /* extern "C" */
