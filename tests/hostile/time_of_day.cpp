#include "hostile/time_of_day.h"

#include "support/syscall_arguments.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>

static std::atomic<uint64_t> *set_seconds = nullptr;

static timespec present_time()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

TimeOfDay::TimeOfDay()
{
    void *place =
        mmap(nullptr, sizeof *seconds_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) {
        std::perror("mmap");
        std::abort();
    }
    seconds_ = new (place) std::atomic<uint64_t>(static_cast<uint64_t>(present_time().tv_sec));
    set_seconds = seconds_;
}

TimeOfDay::~TimeOfDay()
{
    set_seconds = nullptr;
    munmap(static_cast<void *>(seconds_), sizeof *seconds_);
}

uint64_t TimeOfDay::now() const
{
    return *seconds_;
}

void TimeOfDay::set(uint64_t seconds)
{
    *seconds_ = seconds;
}

/* False, and the reason in errno, when time_t cannot tell it. */
static bool tell(timeval *to)
{
    if (set_seconds == nullptr) {
        const timespec now = present_time();
        *to = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
        return true;
    }
    const uint64_t seconds = *set_seconds;
    if (seconds > static_cast<uint64_t>(std::numeric_limits<time_t>::max())) {
        errno = EOVERFLOW;
        return false;
    }
    *to = {static_cast<time_t>(seconds), 0};
    return true;
}

static bool is_clock_gettime64([[maybe_unused]] long number)
{
#ifdef SYS_clock_gettime64
    return number == SYS_clock_gettime64;
#else
    return false;
#endif
}

/* The program's own definitions come before the system's. */
extern "C" {

int gettimeofday(timeval *to, void *) noexcept
{
    return tell(to) ? 0 : -1;
}

time_t time(time_t *to) noexcept
{
    timeval now = {};
    const time_t seconds = tell(&now) ? now.tv_sec : -1;
    if (to != nullptr) {
        *to = seconds;
    }
    return seconds;
}

/* The linker brings only the library's calls here. */
long __wrap_syscall(long number, ...);

long __wrap_syscall(long number, ...)
{
    va_list list;
    va_start(list, number);
    const SyscallArguments arguments = syscall_arguments(list);
    va_end(list);
    const bool asks_time = is_clock_gettime64(number) && arguments.value[0] == CLOCK_REALTIME;
    if (asks_time && set_seconds != nullptr) {
        const int64_t now[2] = {static_cast<int64_t>(*set_seconds), 0};
        std::memcpy(reinterpret_cast<void *>(arguments.value[1]), now, sizeof now);
        return 0;
    }
    using System = long(long, long, long, long, long, long, long);
    System *const system = reinterpret_cast<System *>(dlsym(RTLD_NEXT, "syscall"));
    return call_with(*system, number, arguments);
}

} /* extern "C" */
