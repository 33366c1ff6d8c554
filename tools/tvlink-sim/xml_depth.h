/* How deep the elements of an XML text lie inside each other, found without recursion: the parser
 * calls itself for each level, so a hostile file could otherwise exhaust the stack. */
#ifndef TVLINK_SIM_XML_DEPTH_H
#define TVLINK_SIM_XML_DEPTH_H

#include <cstddef>
#include <string>

namespace sim
{

/* The place of the first start tag that lies more than so many levels deep; npos for none. */
size_t find_too_deep(const std::string &text, size_t most);

} // namespace sim

#endif
