/* SPDX-License-Identifier: MIT */
/* The error of a channel list or guide that cannot be used. */
#ifndef TVLINK_SIM_INPUT_ERROR_H
#define TVLINK_SIM_INPUT_ERROR_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace sim
{

/* Thrown by parse_playlist and parse_guide. */
struct InputError : std::runtime_error {
    InputError(size_t at_line, const std::string &reason)
        : std::runtime_error(reason), line(at_line)
    {
    }

    size_t line; /* from 1; 0: the file as a whole */
};

} // namespace sim

#endif
