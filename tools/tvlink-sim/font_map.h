/* SPDX-License-Identifier: MIT */
/* What Pango draws with. */
#ifndef TVLINK_SIM_FONT_MAP_H
#define TVLINK_SIM_FONT_MAP_H

#include <mutex>

#include <pango/pango.h>

namespace sim
{

struct Fonts {
    Fonts() = default;
    ~Fonts();
    Fonts(const Fonts &) = delete;
    Fonts &operator=(const Fonts &) = delete;

    std::mutex lock; /* held by whoever draws: Pango's maps of fonts are for one thread at a time */
    PangoFontMap *map = nullptr;
    PangoFontDescription *description = nullptr; /* which fonts are preferred, of no size */
};

} // namespace sim

#endif
