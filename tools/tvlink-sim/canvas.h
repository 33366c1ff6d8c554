/* SPDX-License-Identifier: MIT */
/* An RGB image. Drawing is clipped at its edges. */
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

/* Where and how a line of text is drawn, in pixels. A text wider than `width` is truncated and ends
 * in three dots. */
struct Line {
    int left;
    int top;
    int width;
    float size;
    Colour colour;
};

/* All black. */
Canvas make_canvas(int width, int height);

Colour mix(const Colour &from, const Colour &to, int part, int whole);

/* Blends the colour into the area: opacity 0 changes nothing, 255 replaces the pixels. */
void fill(Canvas &canvas, const Rectangle &area, const Colour &colour, int opacity = 255);

void draw_text(Canvas &canvas, const Font &font, const Line &line, const std::string &text);
int text_width(const Font &font, const std::string &text, float size);

/* The canvas as PNG; empty when memory runs out. */
std::vector<uint8_t> png_of(const Canvas &canvas);

} // namespace sim

#endif
