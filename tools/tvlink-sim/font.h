/* SPDX-License-Identifier: MIT */
/* A TrueType font, and the bitmaps of its characters. */
#ifndef TVLINK_SIM_FONT_H
#define TVLINK_SIM_FONT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim
{

struct Font;

struct Glyph {
    int width;
    int height;
    int left;                      /* of the first column, relative to the pen */
    int top;                       /* of the first row, relative to the baseline; negative: above */
    std::vector<uint8_t> coverage; /* 0 to 255 for each pixel */
};

/* Null when the file cannot be read or is no font. */
std::shared_ptr<const Font> load_font(const std::string &path);

Glyph draw_glyph(const Font &font, uint32_t character, float size);
/* How far the pen advances, in pixels. */
float glyph_advance(const Font &font, uint32_t character, float size);

} // namespace sim

#endif
