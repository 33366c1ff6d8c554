/* A TrueType font, and the pictures of its characters. */
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
    int left;                      /* of the picture's first column, from the pen */
    int top;                       /* of its first row, from the base line; negative is above */
    std::vector<uint8_t> coverage; /* 0 to 255 for each pixel */
};

/* Null when the file is not there or holds no font. */
std::shared_ptr<const Font> load_font(const std::string &path);

Glyph draw_glyph(const Font &font, uint32_t character, float size);
/* How far the pen moves. */
float glyph_advance(const Font &font, uint32_t character, float size);

} // namespace sim

#endif
