/* System functions that fail when the library calls them, and only then.
 *
 * The program's own definitions come before the system's; what the program itself, its libraries or
 * the sanitizers call goes through. */
#pragma once

#include <string>
#include <vector>

struct FailingCall {
    const char *name;
    long seen; /* calls by the library since count_calls() */
};

std::vector<FailingCall> failing_calls();

/* Finds the library; false when the program is not linked to its shared form. */
bool find_library();

/* From now on calls are counted and none fails. Sleeps and passes of the library are
 * cut to a millisecond at any time. */
void count_calls();

/* The first-th call from now on fails, and, with `for_ever`, those after it too. */
void fail_calls(const std::string &name, long first, bool for_ever);

long failed_calls(); /* since fail_calls */
