/* SPDX-License-Identifier: MIT */
/* The failure of a command. */
#ifndef TVLINK_CTL_FAILURE_H
#define TVLINK_CTL_FAILURE_H

#include "system.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace ctl
{

/* The exit statuses; --help documents them. */
enum ExitStatus {
    STATUS_DONE = 0,
    STATUS_OTHER = 1,
    STATUS_USAGE = 2,
    STATUS_NOT_FOUND = 3,
    STATUS_REFUSED = 4,
    STATUS_TIMED_OUT = 5,
    STATUS_PROTOCOL = 6,
    STATUS_FAILED = 7
};

/* main prints both texts and exits with the status. */
struct Failure : std::runtime_error {
    Failure(ExitStatus exit_status, const std::string &message, std::string what_next)
        : std::runtime_error(message), status(exit_status), hint(std::move(what_next))
    {
    }

    ExitStatus status;
    std::string hint; /* what to do next; may be empty */
};

using tools::system_text;

} // namespace ctl

#endif
