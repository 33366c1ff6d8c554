/* What a function in the place of syscall() was given: as many arguments as any call of the system
 * has. */
#pragma once

#include <cstdarg>

struct SyscallArguments {
    long value[6];
};

inline SyscallArguments syscall_arguments(va_list list)
{
    SyscallArguments arguments;
    for (long &value : arguments.value) {
        value = va_arg(list, long);
    }
    return arguments;
}

/* With the system's own syscall, say. */
template <typename Call> long call_with(Call &&call, long number, const SyscallArguments &arguments)
{
    const long *value = arguments.value;
    return call(number, value[0], value[1], value[2], value[3], value[4], value[5]);
}
