/* SPDX-License-Identifier: MIT */
/* Texts from the network, made fit for a terminal: control characters and what is not UTF-8 become
 * \xNN, so that they can neither break the line nor drive the terminal. */
#ifndef TVLINK_TOOLS_PRINTABLE_H
#define TVLINK_TOOLS_PRINTABLE_H

#include <string>
#include <string_view>

namespace tools
{

std::string printable(std::string_view text);

/* The same in double quotes, with a backslash before quotes and backslashes; cut behind 60
 * characters, which three dots then show. */
std::string quoted(const std::string &text);

/* A JSON value in one line; bytes that are not UTF-8 are replaced. */
template <typename Json> std::string one_line(const Json &value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace tools

#endif
