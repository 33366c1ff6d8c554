/* SPDX-License-Identifier: MIT */
/* Calls and the library's lines, in the one order in which they came. */
#pragma once

#include "support/system_calls.h"

#include <string>
#include <vector>

/* While one lives it is the library's log sink and keeps every line, newline included, among the
 * calls that functions in the place of the system's note. One at a time. A line that is printed
 * with a lock held comes only when that is released. */
class Trace
{
public:
    /* Of other threads than the one that made it, it keeps nothing unless it is of every one. */
    explicit Trace(Threads threads = Threads::THIS);
    ~Trace();
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

    /* Takes no lock that a test could have taken over; may come when no trace lives any more. */
    static void note(const std::string &what);

    std::vector<std::string> all() const;
};
