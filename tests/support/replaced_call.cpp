#include "support/replaced_call.h"

#include "support/syscall_arguments.h"

#include <cstdarg>
#include <mutex>
#include <utility>
#include <vector>

SystemCall<int(int, sockaddr *, socklen_t *, int)> system_accept4("accept4");
SystemCall<int(int, fd_set *, fd_set *, fd_set *, timeval *)> system_select("select");
SystemCall<int(pollfd *, nfds_t, int)> system_poll("poll");
SystemCall<ssize_t(int, const void *, size_t, int)> system_send("send");
SystemCall<ssize_t(int, void *, size_t, int)> system_recv("recv");
SystemCall<int(int, int, int, const void *, socklen_t)> system_setsockopt("setsockopt");
SystemCall<int(int, const sockaddr *, socklen_t)> system_bind("bind");
SystemCall<int(int, int)> system_listen("listen");
SystemCall<int(int, sockaddr *, socklen_t *)> system_getsockname("getsockname");
SystemCall<int(int)> system_close("close");
SystemCall<int(int, unsigned long, void *)> system_ioctl("ioctl");
SystemCall<int(useconds_t)> system_usleep("usleep");
SystemCall<int(timeval *, void *)> system_gettimeofday("gettimeofday");
SystemCall<int(clockid_t, timespec *)> system_clock_gettime("clock_gettime");
SystemCall<time_t(time_t *)> system_time("time");
SystemCall<long(long, long, long, long, long, long, long)> system_syscall("syscall");
SystemCall<int(pthread_mutex_t *)> system_mutex_lock("pthread_mutex_lock");
SystemCall<int(pthread_mutex_t *)> system_mutex_destroy("pthread_mutex_destroy");
SystemCall<int(pthread_cond_t *, pthread_mutex_t *)> system_cond_wait("pthread_cond_wait");

void keep_for_good(std::shared_ptr<void> object)
{
    static std::mutex lock;
    static std::vector<std::shared_ptr<void>> *kept = new std::vector<std::shared_ptr<void>>;
    const std::lock_guard<std::mutex> guard(lock);
    kept->push_back(std::move(object));
}

FrozenClock::FrozenClock(uint32_t seconds)
    : seconds_(seconds), replaced_(system_gettimeofday, [this](timeval *to, void *) {
          *to = {static_cast<time_t>(now()), 0};
          return 0;
      })
{
}

uint32_t FrozenClock::now() const
{
    return seconds_;
}

void FrozenClock::advance(int seconds)
{
    seconds_ += static_cast<uint32_t>(seconds);
}

void FrozenClock::set(uint32_t seconds)
{
    seconds_ = seconds;
}

/* The program's own definitions come before the system's, also for calls from other libraries. */
extern "C" {

int accept4(int fd, sockaddr *address, socklen_t *size, int flags)
{
    return system_accept4(fd, address, size, flags);
}

int select(int count, fd_set *reading, fd_set *writing, fd_set *excepting, timeval *limit)
{
    return system_select(count, reading, writing, excepting, limit);
}

int poll(pollfd *entries, nfds_t count, int limit_ms)
{
    return system_poll(entries, count, limit_ms);
}

ssize_t send(int fd, const void *data, size_t size, int flags)
{
    return system_send(fd, data, size, flags);
}

ssize_t recv(int fd, void *data, size_t size, int flags)
{
    return system_recv(fd, data, size, flags);
}

int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept
{
    return system_setsockopt(fd, level, option, value, size);
}

int bind(int fd, const sockaddr *address, socklen_t size) noexcept
{
    return system_bind(fd, address, size);
}

int listen(int fd, int backlog) noexcept
{
    return system_listen(fd, backlog);
}

int getsockname(int fd, sockaddr *address, socklen_t *size) noexcept
{
    return system_getsockname(fd, address, size);
}

int close(int fd)
{
    return system_close(fd);
}

int usleep(useconds_t microseconds)
{
    return system_usleep(microseconds);
}

int gettimeofday(timeval *to, void *zone) noexcept
{
    return system_gettimeofday(to, zone);
}

int clock_gettime(clockid_t clock, timespec *to) noexcept
{
    return system_clock_gettime(clock, to);
}

time_t time(time_t *to) noexcept
{
    return system_time(to);
}

/* The linker brings only the library's calls and the tests' here: the sanitizers have calls of
 * their own before the program is ready. */
long __wrap_syscall(long number, ...);

long __wrap_syscall(long number, ...)
{
    va_list list;
    va_start(list, number);
    const SyscallArguments arguments = syscall_arguments(list);
    va_end(list);
    return call_with(system_syscall, number, arguments);
}

int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    return system_mutex_lock(mutex);
}

int pthread_mutex_destroy(pthread_mutex_t *mutex) noexcept
{
    return system_mutex_destroy(mutex);
}

int pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    return system_cond_wait(condition, mutex);
}

} /* extern "C" */
