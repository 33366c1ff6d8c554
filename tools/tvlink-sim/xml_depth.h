/* SPDX-License-Identifier: MIT */
/* The nesting depth of an XML text, found without recursion: the parser recurses for each level, so
 * a hostile file could exhaust the stack. */
#ifndef TVLINK_SIM_XML_DEPTH_H
#define TVLINK_SIM_XML_DEPTH_H

#include <cstddef>
#include <string>

namespace sim
{

/* The position of the first start tag that is more than `max` levels deep; npos for none. */
size_t find_too_deep(const std::string &text, size_t max);

} // namespace sim

#endif
