/* System functions in whose place a test puts code of its own, for every thread of the program. */
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

template <typename Signature> class SystemCall;

template <typename Result, typename... Arguments> class SystemCall<Result(Arguments...)>
{
public:
    using Function = std::function<Result(Arguments...)>;

    explicit constexpr SystemCall(const char *name) : name_(name)
    {
    }

    /* What the system does. */
    Result real(Arguments... arguments)
    {
        System *system = system_.load(std::memory_order_relaxed);
        if (system == nullptr) {
            system = reinterpret_cast<System *>(dlsym(RTLD_NEXT, name_));
            system_.store(system, std::memory_order_relaxed);
        }
        return system(arguments...);
    }

    /* What a caller in the program gets. */
    Result operator()(Arguments... arguments)
    {
        const Function *instead = instead_.load(std::memory_order_acquire);
        return instead == nullptr ? real(arguments...) : (*instead)(arguments...);
    }

    const Function *put(const Function *instead)
    {
        return instead_.exchange(instead, std::memory_order_acq_rel);
    }

private:
    using System = Result(Arguments...);

    const char *name_;
    std::atomic<System *> system_{nullptr};
    std::atomic<const Function *> instead_{nullptr};
};

extern SystemCall<int(int, sockaddr *, socklen_t *, int)> system_accept4;
extern SystemCall<int(int, fd_set *, fd_set *, fd_set *, timeval *)> system_select;
extern SystemCall<int(pollfd *, nfds_t, int)> system_poll;
extern SystemCall<ssize_t(int, const void *, size_t, int)> system_send;
extern SystemCall<ssize_t(int, void *, size_t, int)> system_recv;
extern SystemCall<int(int, int, int, const void *, socklen_t)> system_setsockopt;
extern SystemCall<int(int, const sockaddr *, socklen_t)> system_bind;
extern SystemCall<int(int, int)> system_listen;
extern SystemCall<int(int, sockaddr *, socklen_t *)> system_getsockname;
extern SystemCall<int(int)> system_close;
extern SystemCall<int(int, unsigned long, void *)> system_ioctl;
extern SystemCall<int(useconds_t)> system_usleep;
extern SystemCall<int(timeval *, void *)> system_gettimeofday;
extern SystemCall<int(clockid_t, timespec *)> system_clock_gettime;
extern SystemCall<time_t(time_t *)> system_time;
extern SystemCall<long(long, long, long, long, long, long, long)> system_syscall;
extern SystemCall<int(pthread_mutex_t *)> system_mutex_lock;
extern SystemCall<int(pthread_mutex_t *)> system_mutex_destroy;
extern SystemCall<int(pthread_cond_t *, pthread_mutex_t *)> system_cond_wait;

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
        former_ = call.put(kept.get());
    }
    ~Replaced()
    {
        call_.put(former_);
    }
    Replaced(const Replaced &) = delete;
    Replaced &operator=(const Replaced &) = delete;

private:
    Call &call_;
    const typename Call::Function *former_;
};

/* The time of day stands still while it lives, at a moment that the test chooses. The service must
 * not be running when it begins or ends. */
class FrozenClock
{
public:
    explicit FrozenClock(uint32_t seconds = 1700000000);

    uint32_t now() const;
    void advance(int seconds);
    void set(uint32_t seconds);

private:
    std::atomic<uint32_t> seconds_;
    Replaced<decltype(system_gettimeofday)> replaced_;
};
