/* SPDX-License-Identifier: MIT */
/* The connection to the television, and the failures of what is asked over it. */
#ifndef TVLINK_CTL_SESSION_H
#define TVLINK_CTL_SESSION_H

#include "failure.h"
#include "settings.h"

#include <string>

namespace ctl
{

/* A connection to the television that the settings name, or to the first one that is found. */
struct Session {
    explicit Session(const Settings &settings);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    CpConnection *connection = nullptr;
    std::string peer; /* "192.168.1.5:8801" */
    double timeout;   /* seconds */
    uint32_t timeout_ms;
};

/* A request's bytes, released at the end of the scope. */
struct Request {
    Request() = default;
    ~Request();
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    CpBuffer buffer = {};
};

/* Throws the Failure for anything but CP_OK. `asked` names what was asked for, such as "its name".
 */
void require_answer(const Session &session, CpStatus status, const std::string &asked);

/* Throws a usage Failure when a request could not be built. */
void require_built(CpStatus status, const std::string &hint);

/* Throws the Failure for a search that found nothing. errno is still that of the search. */
[[noreturn]] void search_failed(const Settings &settings, CpStatus status);

/* Throws the Failure for an answer that says that the television failed. */
[[noreturn]] void television_failed(const std::string &asked);

/* A descriptor from which SIGINT and SIGTERM can be read, so that poll misses none of them. */
tools::Descriptor stop_signals();

/* Waits until the other descriptor can be read. True when a stop signal came. */
bool wait_for_stop(const tools::Descriptor &stop, int other, int timeout_ms);

/* "3 s" */
std::string seconds_text(double seconds);

/* "192.168.1.5", from a number in network byte order */
std::string address_text(uint32_t address);

} // namespace ctl

#endif
