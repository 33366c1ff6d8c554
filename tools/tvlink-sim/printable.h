/* Texts from the network, made fit for a terminal. */
#ifndef TVLINK_SIM_PRINTABLE_H
#define TVLINK_SIM_PRINTABLE_H

#include <string>

namespace sim
{

/* The text in double quotes: quotes, backslashes, control characters and what is not UTF-8 are
 * escaped, so that it can neither break the line nor drive the terminal; cut behind 60 characters,
 * which three dots then show. */
std::string quoted(const std::string &text);

} // namespace sim

#endif
