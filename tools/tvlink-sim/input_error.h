/* Why a file that the television was given cannot be used. */
#ifndef TVLINK_SIM_INPUT_ERROR_H
#define TVLINK_SIM_INPUT_ERROR_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace sim
{

/* Thrown by the readers of files. */
struct InputError : std::runtime_error {
    InputError(size_t at_line, const std::string &reason)
        : std::runtime_error(reason), line(at_line)
    {
    }

    size_t line; /* from 1; 0 when the file as a whole is meant */
};

} // namespace sim

#endif
