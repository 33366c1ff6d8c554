/* SPDX-License-Identifier: MIT */
/* One function for each entry of the list.
 *
 * Where the library is linked statically, the linker's --wrap makes every call of send one of
 * __wrap_send, which is here, and calls the system's function __real_send.
 *
 * It cannot do so inside a shared library. For that, SYSTEM_CALLS_INTERPOSED gives the functions
 * here the names of the system's, which the dynamic linker then finds second. So all calls in the
 * process come here, also those that the dynamic linker and the runtime of a sanitizer make before
 * that is ready. Therefore only calls from the library's code are looked at, this file is built
 * without instrumentation, and a function of the system's is looked for when it is first called;
 * but AddressSanitizer's own are known from the start, since the look-up itself may want memory. */
#include "support/system_calls.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include <link.h>

#ifdef SYSTEM_CALLS_INTERPOSED
#define TAKEN(name) __asm__(#name)
#define REAL(name) __asm__("__interceptor_" #name) __attribute__((weak))
static const bool EVERY_CALLER = false;
#else
#define TAKEN(name) __asm__("__wrap_" #name)
#define REAL(name) __asm__("__real_" #name)
static const bool EVERY_CALLER = true;
#endif

namespace
{

struct Range {
    uintptr_t from;
    uintptr_t to;
};

Range library = {0, 0};

bool is_taken_from(const void *caller)
{
    const auto place = reinterpret_cast<uintptr_t>(caller);
    return EVERY_CALLER || (place >= library.from && place < library.to);
}

/* Counts the call; the errno with which it is to fail, or 0. */
int failure(SystemFunction &function)
{
    if (!function.watched ||
        (!function.every_thread && !pthread_equal(function.thread, pthread_self()))) {
        return 0;
    }
    const long after_first = ++function.calls - function.first;
    return after_first >= 0 && after_first < function.times ? function.failure.load() : 0;
}

template <typename Result> Result failed(const char *name, int error)
{
    if constexpr (std::is_pointer_v<Result>) {
        errno = error;
        return nullptr;
    } else if (std::strncmp(name, "pthread_", 8) == 0) {
        return static_cast<Result>(error);
    } else {
        errno = error;
        return static_cast<Result>(-1);
    }
}

template <typename Result, typename... Arguments>
Result take(SystemCall<Result(Arguments...)> &call, const void *caller, Arguments... arguments)
{
    using Function = typename SystemCall<Result(Arguments...)>::Function;
    if (!is_taken_from(caller)) {
        return call.found()(arguments...);
    }
    const int error = failure(call);
    if (error != 0) {
        return failed<Result>(call.name, error);
    }
    const void *instead = call.instead.load(std::memory_order_acquire);
    return instead == nullptr ? call.found()(arguments...)
                              : (*static_cast<const Function *>(instead))(arguments...);
}

int find_code(dl_phdr_info *info, size_t, void *name)
{
    if (std::strstr(info->dlpi_name, static_cast<const char *>(name)) == nullptr) {
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

} // namespace

/* Assembler names: the system's headers declare some of the functions otherwise. */
#define SYSTEM_CALL(name, error, result, parameters, ...)                                          \
    extern "C" result real_##name parameters REAL(name);                                           \
    extern "C" result taken_##name parameters TAKEN(name);                                         \
    SystemCall<result parameters> system_##name = {{#name, error}, real_##name};                   \
    result taken_##name parameters                                                                 \
    {                                                                                              \
        return take(system_##name, __builtin_return_address(0), __VA_ARGS__);                      \
    }
#include "support/system_calls.def"

#define SYSTEM_CALL(name, ...) &system_##name,
static SystemFunction *const FUNCTIONS[] = {
#include "support/system_calls.def"
};

SystemFunction *find_system_function(const std::string &name)
{
    for (SystemFunction *function : FUNCTIONS) {
        if (name == function->name) {
            return function;
        }
    }
    return nullptr;
}

WatchedCall::WatchedCall(SystemFunction &function, Threads threads) : function_(function)
{
    function.every_thread = threads == Threads::EVERY;
    function.thread = pthread_self();
    fail(0, 1, 0);
    function.watched = true;
}

WatchedCall::~WatchedCall()
{
    function_.watched = false;
}

void WatchedCall::fail(int error, long first, long times)
{
    function_.failure = error;
    function_.first = first;
    function_.times = times;
    function_.calls = 0;
}

long WatchedCall::calls() const
{
    return function_.calls;
}

void keep_for_good(std::shared_ptr<void> object)
{
    static std::mutex lock;
    static std::vector<std::shared_ptr<void>> *kept = new std::vector<std::shared_ptr<void>>;
    const std::lock_guard<std::mutex> guard(lock);
    kept->push_back(std::move(object));
}

void restore_system_calls()
{
    for (SystemFunction *function : FUNCTIONS) {
        function->instead = nullptr;
    }
}

bool take_calls_of(const char *name)
{
    return dl_iterate_phdr(find_code, const_cast<char *>(name)) == 1 && library.to > library.from;
}
