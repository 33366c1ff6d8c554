/* Pixels to draw on. What lies outside is not drawn. */
#ifndef TVLINK_SIM_CANVAS_H
#define TVLINK_SIM_CANVAS_H

#include <cstdint>
#include <string>
#include <vector>

#include "font.h"

namespace sim
{

struct Colour {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

struct Rectangle {
    int left;
    int top;
    int width;
    int height;
};

struct Canvas {
    int width;
    int height;
    std::vector<uint8_t> pixels; /* red, green, blue, row by row */
};

/* A line of text; `top` is that of the line, `width` what it may take: three dots show what is cut
 * off. */
struct Line {
    int left;
    int top;
    int width;
    float size;
    Colour colour;
};

/* Black. */
Canvas make_canvas(int width, int height);

Colour mix(const Colour &from, const Colour &to, int part, int whole);

/* The part of 255 that the colour covers what is there: 255 hides it. */
void fill(Canvas &canvas, const Rectangle &area, const Colour &colour, int opacity = 255);

void draw_text(Canvas &canvas, const Font &font, const Line &line, const std::string &text);
int text_width(const Font &font, const std::string &text, float size);

/* The picture as PNG; nothing when memory is out. */
std::vector<uint8_t> png_of(const Canvas &canvas);

} // namespace sim

#endif
