/* SPDX-License-Identifier: MIT */
/* System functions that a test counts, lets fail, or puts code of its own in the place of. They are
 * listed in system_calls.def; each has an object here: system_send for send.
 *
 * Calls by the library and by the tests themselves come here; calls inside libc and libstdc++
 * (operator new, say) do not. */
#pragma once

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

/* What does not depend on the signature. */
struct SystemFunction {
    const char *name;
    int error; /* from the list */

    /* Of WatchedCall */
    std::atomic<bool> watched{false};
    std::atomic<bool> every_thread{false};
    std::atomic<pthread_t> thread{};
    std::atomic<long> calls{0};
    std::atomic<long> first{0};
    std::atomic<long> times{0};
    std::atomic<int> failure{0};

    /* A std::function in the system's place, or null. */
    std::atomic<const void *> instead{nullptr};
};

template <typename Signature> struct SystemCall;

template <typename Result, typename... Arguments>
struct SystemCall<Result(Arguments...)> : SystemFunction {
    using Function = std::function<Result(Arguments...)>;
    using System = Result(Arguments...);

    System *system; /* null: not looked for yet */

    /* Inlined: system_calls.cpp may be built without the instrumentation of other files. */
    [[gnu::always_inline]] System *found()
    {
        System *function = __atomic_load_n(&system, __ATOMIC_RELAXED);
        if (function == nullptr) {
            function = reinterpret_cast<System *>(dlsym(RTLD_NEXT, name));
            __atomic_store_n(&system, function, __ATOMIC_RELAXED);
        }
        return function;
    }

    /* What the system does. */
    Result real(Arguments... arguments)
    {
        return found()(arguments...);
    }
};

#define SYSTEM_CALL(name, error, result, parameters, ...)                                          \
    extern SystemCall<result parameters> system_##name;
#include "support/system_calls.def"

using SystemFunctions = std::initializer_list<SystemFunction *>;

/* The one of this name, or null. */
SystemFunction *find_system_function(const std::string &name);

enum class Threads { THIS, EVERY };

/* Watches one function while it lives, for calls of this thread or of every thread. One at a time
 * for each function. */
class WatchedCall
{
public:
    explicit WatchedCall(SystemFunction &function, Threads threads = Threads::THIS);
    ~WatchedCall();
    WatchedCall(const WatchedCall &) = delete;
    WatchedCall &operator=(const WatchedCall &) = delete;

    /* The first-th call from now on and the next ones, `times` in all, do nothing and fail with
     * this errno: null, -1, or for the pthread functions the number itself. */
    void fail(int error, long first = 1, long times = 1);

    long calls() const; /* since it began, or since the last fail() */

private:
    SystemFunction &function_;
};

/* A thread may still be on its way out of a function that is no longer in use. */
void keep_for_good(std::shared_ptr<void> object);

/* Puts the function in the place of the system's while it lives; what was there before comes back.
 * The function runs on whatever thread calls, also on several at once. What it refers to must
 * outlive the threads that call it: declare it before what starts them. */
template <typename Call> class Replaced
{
public:
    Replaced(Call &call, typename Call::Function function) : call_(call)
    {
        const auto kept = std::make_shared<typename Call::Function>(std::move(function));
        keep_for_good(kept);
        former_ = call.instead.exchange(kept.get());
    }
    ~Replaced()
    {
        call_.instead = former_;
    }
    Replaced(const Replaced &) = delete;
    Replaced &operator=(const Replaced &) = delete;

private:
    Call &call_;
    const void *former_;
};

/* The same without an end of its own, and without a cost each time: until restore_system_calls().
 */
template <auto function, typename Call> void replace(Call &call)
{
    static const typename Call::Function kept = function;
    call.instead = &kept;
}

void restore_system_calls();

/* For the program that is linked to a shared library: only calls by that library come here, and
 * until this is called none. False when there is no library whose path contains the name. */
bool take_calls_of(const char *library);
