/* SPDX-License-Identifier: MIT */
#include "session.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <poll.h>
#include <sys/signalfd.h>

namespace ctl
{
namespace
{

struct Place {
    std::string host;
    uint16_t port;
};

Place find_place(const Settings &settings)
{
    if (!settings.host.empty()) {
        const uint16_t usual = CP_CONTROL_PORT;
        return {settings.host, settings.port != 0 ? settings.port : usual};
    }
    const CpSearch search = {nullptr, false, to_milliseconds(settings.timeout), 1, 0};
    CpTelevision first = {};
    size_t found = 0;
    const CpStatus status = cp_discover(&search, &first, 1, &found);
    if (status != CP_OK) {
        search_failed(settings, status);
    }
    const uint16_t port = settings.port != 0 ? settings.port : first.port;
    return {address_text(cp_television_address(&first)), port};
}

constexpr char closed_hint[] = "it may be stopping, or not want this control point; try again";

[[noreturn]] void not_connected(const Session &session, CpStatus status)
{
    const int error = errno;
    switch (status) {
    case CP_REFUSED:
        throw Failure(STATUS_REFUSED, session.peer + " refused the connection",
                      "is the television's service running there, on that port?");
    case CP_NOT_FOUND:
        throw Failure(STATUS_NOT_FOUND, session.peer + " is unknown or out of reach",
                      "\"tvlink-ctl discover\" lists the televisions on this network");
    case CP_TIMED_OUT:
        throw Failure(STATUS_TIMED_OUT,
                      session.peer + " did not take the connection within " +
                          seconds_text(session.timeout),
                      "is the television switched on? A longer --timeout may help");
    case CP_CLOSED:
        throw Failure(STATUS_OTHER, session.peer + " closed the connection at once", closed_hint);
    default:
        throw Failure(STATUS_OTHER, "cannot connect to " + session.peer + ": " + system_text(error),
                      "");
    }
}

} // namespace

uint32_t to_milliseconds(double seconds)
{
    return static_cast<uint32_t>(std::max(1.0, std::ceil(seconds * 1000)));
}

tools::Descriptor stop_signals()
{
    const sigset_t signals = tools::block_stop_signals();
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw Failure(STATUS_OTHER, "signalfd: " + system_text(errno), "");
    }
    return tools::Descriptor(descriptor);
}

bool wait_for_stop(const tools::Descriptor &stop, int other, int timeout_ms)
{
    pollfd watched[] = {{stop.number, POLLIN, 0}, {other, POLLIN, 0}};
    if (poll(watched, 2, timeout_ms) < 0 && errno != EINTR) {
        throw Failure(STATUS_OTHER, "poll: " + system_text(errno), "");
    }
    return watched[0].revents != 0;
}

std::string seconds_text(double seconds)
{
    char text[32];
    snprintf(text, sizeof text, "%g s", seconds);
    return text;
}

std::string address_text(uint32_t address)
{
    char text[16];
    cp_address_text(address, text);
    return text;
}

void search_failed(const Settings &settings, CpStatus status)
{
    const int error = errno;
    if (status != CP_NOT_FOUND) {
        throw Failure(
            STATUS_OTHER,
            "cannot search the network: " + (error == EADDRINUSE
                                                 ? "UDP port 9988 is taken by another program"
                                                 : system_text(error)),
            "\"tvlink-ctl doctor\" tells why; a command other than discover needs no search "
            "when --host names the television's address");
    }
    const std::string place =
        settings.host.empty() ? "no television" : "nothing at " + settings.host;
    throw Failure(STATUS_NOT_FOUND,
                  place + " answered the search within " + seconds_text(settings.timeout),
                  "is a television running on this network? A longer --timeout or another --host "
                  "may help; \"tvlink-ctl doctor\" looks for the reason");
}

Session::Session(const Settings &settings)
    : timeout(settings.timeout), timeout_ms(to_milliseconds(settings.timeout))
{
    const Place place = find_place(settings);
    peer = place.host + ":" + std::to_string(place.port);
    const CpStatus status = cp_connect(&connection, place.host.c_str(), place.port, timeout_ms);
    if (status != CP_OK) {
        not_connected(*this, status);
    }
}

Session::~Session()
{
    cp_disconnect(connection);
}

Request::~Request()
{
    cp_buffer_free(&buffer);
}

void require_answer(const Session &session, CpStatus status, const std::string &asked)
{
    const int error = errno;
    const std::string problem = cp_problem(session.connection);
    const std::string detail = problem.empty() ? "" : " (" + problem + ")";
    switch (status) {
    case CP_OK:
        return;
    case CP_TIMED_OUT:
        throw Failure(STATUS_TIMED_OUT,
                      session.peer + " did not answer within " + seconds_text(session.timeout) +
                          " when asked for " + asked,
                      "a television meets what it has no route for with silence; if it is only "
                      "slow, a longer --timeout helps");
    case CP_CLOSED:
        throw Failure(STATUS_OTHER, session.peer + " closed the connection" + detail, closed_hint);
    case CP_PROTOCOL:
        throw Failure(STATUS_PROTOCOL, session.peer + " does not keep to the protocol" + detail,
                      "is that a television, and the right port?");
    default:
        throw Failure(STATUS_OTHER,
                      "cannot ask " + session.peer + " for " + asked + ": " + system_text(error),
                      "");
    }
}

void require_built(CpStatus status, const std::string &hint)
{
    const int error = errno;
    if (status == CP_BAD_ARGUMENT) {
        throw Failure(STATUS_USAGE, "the request cannot be encoded", hint);
    }
    if (status != CP_OK) {
        throw Failure(STATUS_OTHER, system_text(error), "");
    }
}

void television_failed(const std::string &asked)
{
    throw Failure(STATUS_FAILED, "the television answered that it failed: " + asked,
                  "it may be switched off, lack that function, or not accept the value");
}

} // namespace ctl
