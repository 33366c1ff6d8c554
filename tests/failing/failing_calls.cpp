#include "failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

enum Function {
    MALLOC,
    CALLOC,
    REALLOC,
    PTHREAD_CREATE,
    SEM_WAIT,
    SOCKET,
    SETSOCKOPT,
    BIND,
    LISTEN,
    GETSOCKNAME,
    ACCEPT,
    SELECT,
    IOCTL,
    RECV,
    RECVFROM,
    SEND,
    SENDTO,
    FUNCTIONS
};

struct Entry {
    const char *name;
    int error; /* errno, or what a pthread function returns */
    long seen; /* atomically, as all that changes here */
};

Entry entries[FUNCTIONS] = {
    {"malloc", ENOMEM, 0},         {"calloc", ENOMEM, 0},      {"realloc", ENOMEM, 0},
    {"pthread_create", EAGAIN, 0}, {"sem_wait", EINTR, 0},     {"socket", EMFILE, 0},
    {"setsockopt", ENOBUFS, 0},    {"bind", EADDRINUSE, 0},    {"listen", EADDRINUSE, 0},
    {"getsockname", ENOBUFS, 0},   {"accept4", EMFILE, 0},     {"select", ENOMEM, 0},
    {"ioctl", ENOTTY, 0},          {"recv", ECONNRESET, 0},    {"recvfrom", ENOMEM, 0},
    {"send", ECONNRESET, 0},       {"sendto", ENETUNREACH, 0},
};

struct Range {
    uintptr_t from;
    uintptr_t to;
};

const useconds_t LONGEST_WAIT_US = 1000;

Range library = {0, 0};
int chosen = FUNCTIONS;
long first_failure = 0;
bool fails_for_ever = false;
long failures = 0;

/* The built-ins: what the standard library makes of them is instrumented by sanitizers, and the
 * functions below are called before those are ready. */
template <typename Value> Value get(const Value *from)
{
    return __atomic_load_n(from, __ATOMIC_SEQ_CST);
}

template <typename Value> void set(Value *to, Value value)
{
    __atomic_store_n(to, value, __ATOMIC_SEQ_CST);
}

long count_one(long *counter)
{
    return __atomic_add_fetch(counter, 1, __ATOMIC_SEQ_CST);
}

bool in_library(const void *caller)
{
    const auto place = reinterpret_cast<uintptr_t>(caller);
    return place >= library.from && place < library.to;
}

/* Counts the call; the error with which it is to fail, or 0. */
int error_for(Function function, const void *caller)
{
    if (!in_library(caller)) {
        return 0;
    }
    const long call = count_one(&entries[function].seen);
    const long first = get(&first_failure);
    if (get(&chosen) != function || call < first || (call > first && !get(&fails_for_ever))) {
        return 0;
    }
    count_one(&failures);
    return entries[function].error;
}

bool fails(Function function, const void *caller)
{
    const int error = error_for(function, caller);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

/* No initialisation that takes a lock: these functions are called before any constructor, too. */
template <typename Signature> struct Real {
    const char *name;
    Signature *found; /* null: not looked for yet */

    template <typename... Arguments> auto operator()(Arguments... arguments)
    {
        Signature *function = get(&found);
        if (function == nullptr) {
            function = reinterpret_cast<Signature *>(dlsym(RTLD_NEXT, name));
            set(&found, function);
        }
        return function(arguments...);
    }
};

int take_range(dl_phdr_info *info, size_t, void *)
{
    if (std::strstr(info->dlpi_name, "libtvlink.so") == nullptr) {
        return 0;
    }
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const auto &part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            library.from = static_cast<uintptr_t>(info->dlpi_addr + part.p_vaddr);
            library.to = library.from + static_cast<uintptr_t>(part.p_memsz);
        }
    }
    return 1;
}

void start_counting(int function, long first, bool for_ever)
{
    set(&chosen, static_cast<int>(FUNCTIONS));
    for (Entry &entry : entries) {
        set(&entry.seen, 0L);
    }
    set(&failures, 0L);
    set(&first_failure, first);
    set(&fails_for_ever, for_ever);
    set(&chosen, function);
}

} // namespace

std::vector<FailingCall> failing_calls()
{
    std::vector<FailingCall> calls;
    for (const Entry &entry : entries) {
        calls.push_back({entry.name, get(&entry.seen)});
    }
    return calls;
}

bool find_library()
{
    return dl_iterate_phdr(take_range, nullptr) == 1 && library.to > library.from;
}

void count_calls()
{
    start_counting(FUNCTIONS, 0, false);
}

void fail_calls(const std::string &name, long first, bool for_ever)
{
    const auto entry = std::find_if(std::begin(entries), std::end(entries),
                                    [&](const Entry &each) { return name == each.name; });
    start_counting(static_cast<int>(entry - std::begin(entries)), first, for_ever);
}

long failed_calls()
{
    return get(&failures);
}

#define CALLER __builtin_return_address(0)

extern "C" {

/* Of AddressSanitizer, where it is: it asks for memory before anything can be looked for. */
void *__interceptor_malloc(size_t size) __attribute__((weak));
void *__interceptor_calloc(size_t count, size_t size) __attribute__((weak));
void *__interceptor_realloc(void *block, size_t size) __attribute__((weak));

void *malloc(size_t size)
{
    static Real<void *(size_t)> real = {"malloc", __interceptor_malloc};
    return fails(MALLOC, CALLER) ? nullptr : real(size);
}

void *calloc(size_t count, size_t size)
{
    static Real<void *(size_t, size_t)> real = {"calloc", __interceptor_calloc};
    return fails(CALLOC, CALLER) ? nullptr : real(count, size);
}

void *realloc(void *block, size_t size)
{
    static Real<void *(void *, size_t)> real = {"realloc", __interceptor_realloc};
    return fails(REALLOC, CALLER) ? nullptr : real(block, size);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                   void *argument)
{
    static Real<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)> real = {
        "pthread_create", nullptr};
    const int error = error_for(PTHREAD_CREATE, CALLER);
    return error != 0 ? error : real(thread, attributes, body, argument);
}

int sem_wait(sem_t *semaphore)
{
    static Real<int(sem_t *)> real = {"sem_wait", nullptr};
    return fails(SEM_WAIT, CALLER) ? -1 : real(semaphore);
}

int socket(int domain, int type, int protocol)
{
    static Real<int(int, int, int)> real = {"socket", nullptr};
    return fails(SOCKET, CALLER) ? -1 : real(domain, type, protocol);
}

int setsockopt(int fd, int level, int option, const void *value, socklen_t size)
{
    static Real<int(int, int, int, const void *, socklen_t)> real = {"setsockopt", nullptr};
    return fails(SETSOCKOPT, CALLER) ? -1 : real(fd, level, option, value, size);
}

int bind(int fd, const sockaddr *address, socklen_t size)
{
    static Real<int(int, const sockaddr *, socklen_t)> real = {"bind", nullptr};
    return fails(BIND, CALLER) ? -1 : real(fd, address, size);
}

int listen(int fd, int backlog)
{
    static Real<int(int, int)> real = {"listen", nullptr};
    return fails(LISTEN, CALLER) ? -1 : real(fd, backlog);
}

int getsockname(int fd, sockaddr *address, socklen_t *size)
{
    static Real<int(int, sockaddr *, socklen_t *)> real = {"getsockname", nullptr};
    return fails(GETSOCKNAME, CALLER) ? -1 : real(fd, address, size);
}

int accept4(int fd, sockaddr *address, socklen_t *size, int flags)
{
    static Real<int(int, sockaddr *, socklen_t *, int)> real = {"accept4", nullptr};
    return fails(ACCEPT, CALLER) ? -1 : real(fd, address, size, flags);
}

int select(int count, fd_set *reading, fd_set *writing, fd_set *excepting, timeval *limit)
{
    static Real<int(int, fd_set *, fd_set *, fd_set *, timeval *)> real = {"select", nullptr};
    timeval short_pass = {0, LONGEST_WAIT_US};
    return fails(SELECT, CALLER)
               ? -1
               : real(count, reading, writing, excepting, in_library(CALLER) ? &short_pass : limit);
}

int ioctl(int fd, unsigned long request, ...)
{
    static Real<int(int, unsigned long, void *)> real = {"ioctl", nullptr};
    va_list values;
    va_start(values, request);
    void *value = va_arg(values, void *);
    va_end(values);
    return fails(IOCTL, CALLER) ? -1 : real(fd, request, value);
}

ssize_t recv(int fd, void *data, size_t size, int flags)
{
    static Real<ssize_t(int, void *, size_t, int)> real = {"recv", nullptr};
    return fails(RECV, CALLER) ? -1 : real(fd, data, size, flags);
}

ssize_t recvfrom(int fd, void *data, size_t size, int flags, sockaddr *from, socklen_t *from_size)
{
    static Real<ssize_t(int, void *, size_t, int, sockaddr *, socklen_t *)> real = {"recvfrom",
                                                                                    nullptr};
    return fails(RECVFROM, CALLER) ? -1 : real(fd, data, size, flags, from, from_size);
}

ssize_t send(int fd, const void *data, size_t size, int flags)
{
    static Real<ssize_t(int, const void *, size_t, int)> real = {"send", nullptr};
    return fails(SEND, CALLER) ? -1 : real(fd, data, size, flags);
}

ssize_t sendto(int fd, const void *data, size_t size, int flags, const sockaddr *to,
               socklen_t to_size)
{
    static Real<ssize_t(int, const void *, size_t, int, const sockaddr *, socklen_t)> real = {
        "sendto", nullptr};
    return fails(SENDTO, CALLER) ? -1 : real(fd, data, size, flags, to, to_size);
}

int usleep(useconds_t microseconds)
{
    static Real<int(useconds_t)> real = {"usleep", nullptr};
    const bool cut = in_library(CALLER) && microseconds > LONGEST_WAIT_US;
    return real(cut ? LONGEST_WAIT_US : microseconds);
}

} /* extern "C" */
