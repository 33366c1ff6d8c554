/* SPDX-License-Identifier: MIT */
/* System calls that both tools make. */
#ifndef TVLINK_TOOLS_SYSTEM_H
#define TVLINK_TOOLS_SYSTEM_H

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace tools
{

/* A descriptor that is closed at the end of its scope. */
struct Descriptor {
    explicit Descriptor(int descriptor) : number(descriptor)
    {
    }
    ~Descriptor();
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number;
};

/* The system's text for an errno. */
std::string system_text(int error);

/* Blocks SIGINT and SIGTERM in this thread and in those that it starts, so that they can be waited
 * for. */
sigset_t block_stop_signals();

/* The errno of binding the port of all addresses; 0 when it is free. `type` is SOCK_STREAM or
 * SOCK_DGRAM. Connections of an earlier server that are still closing do not count. */
int bind_error(int type, uint16_t port);

/* Prints the text in one call, so that texts of several threads do not interleave, and flushes. */
void print(FILE *to, const std::string &text);

/* what() is "FILE: reason". */
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* The bytes of a file. Throws a FileError when it cannot be read or has more than `max`. */
std::string read_file(const std::string &path, size_t max);

} // namespace tools

#endif
