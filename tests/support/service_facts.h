/* SPDX-License-Identifier: MIT */
/* What many tests know of the service: its addresses, times and lines, and simple hosts' functions.
 */
#pragma once

#include <chrono>
#include <cstring>

inline const char *const SEARCH_GROUP = "239.200.201.202";
inline const char *const ANNOUNCEMENT_GROUP = "239.201.202.203";

/* An announcing thread may sleep out its pause. */
constexpr std::chrono::seconds LONGEST_PAUSE(64);

inline const char *const TIMEOUT_LINE = "zqt===  info: a CtrlPoint timeout, remove ok!\n";
inline const char *const CLOSED_LINE = "zqt===  tcp_thread 595\n";

/* For the slot tv_ippRpcFunSet: a text is its own answer. */
inline int echo_text(char *answer, const char *request)
{
    std::strcpy(answer, request);
    return 1;
}

/* A sink. */
inline void ignore_line(int, const char *, void *)
{
}
