/* SPDX-License-Identifier: MIT */
#include "support/trace.h"

#include "tvlink.h"

#include <thread>

namespace
{

struct Store {
    std::atomic_flag taken = ATOMIC_FLAG_INIT;
    std::atomic<bool> every_thread{false};
    std::atomic<pthread_t> thread{};
    std::vector<std::string> entries;
};

/* Never freed: a thread of the library may still be inside the sink when the process ends. */
Store &store()
{
    static Store *only = new Store;
    return *only;
}

class Taken
{
public:
    Taken()
    {
        while (store().taken.test_and_set(std::memory_order_acquire)) {
            std::this_thread::yield();
        }
    }
    ~Taken()
    {
        store().taken.clear(std::memory_order_release);
    }
    Taken(const Taken &) = delete;
    Taken &operator=(const Taken &) = delete;
};

void keep_line(int, const char *text, void *)
{
    Trace::note(text);
}

} // namespace

Trace::Trace(Threads threads)
{
    store().every_thread = threads == Threads::EVERY;
    store().thread = pthread_self();
    {
        const Taken taken;
        store().entries.clear();
    }
    ipp_set_log_sink(keep_line, nullptr);
}

Trace::~Trace()
{
    ipp_set_log_sink(nullptr, nullptr);
}

void Trace::note(const std::string &what)
{
    if (store().every_thread || pthread_equal(store().thread, pthread_self())) {
        const Taken taken;
        store().entries.push_back(what);
    }
}

std::vector<std::string> Trace::all() const
{
    const Taken taken;
    return store().entries;
}
