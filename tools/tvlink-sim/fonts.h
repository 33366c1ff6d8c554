/* SPDX-License-Identifier: MIT */
/* The fonts of the system, found by fontconfig, and one more from a file. Pango picks for every
 * character one that has it. */
#ifndef TVLINK_SIM_FONTS_H
#define TVLINK_SIM_FONTS_H

#include <memory>
#include <string>

namespace sim
{

struct Fonts;

/* `file` is a font that is preferred to those of the system; empty for none. Null when it cannot be
 * read or is no font, or when there is no font at all. */
std::shared_ptr<Fonts> load_fonts(const std::string &file);

} // namespace sim

#endif
