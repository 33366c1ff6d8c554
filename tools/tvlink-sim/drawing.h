/* SPDX-License-Identifier: MIT */
/* Shapes and texts on a picture, clipped at its edges. */
#ifndef TVLINK_SIM_DRAWING_H
#define TVLINK_SIM_DRAWING_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <pango/pangocairo.h>

#include "fonts.h"
#include "picture.h"

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

/* Where and how a line of text is drawn, in pixels. In a text wider than `width` the name ends in
 * an ellipsis. */
struct Line {
    int left;
    int top;
    int width;
    float size; /* from the top of the highest letters to the bottom of the lowest */
    Colour colour;
    bool centred;
};

/* Words of our own, from left to right, and behind them a name from outside, which runs in the
 * direction of its own letters and does not change the order around it. Either may be empty. */
struct Words {
    std::string own;
    std::string name;
};

struct Unreference {
    void operator()(cairo_surface_t *surface) const;
    void operator()(cairo_t *context) const;
    void operator()(PangoLayout *layout) const;
};

/* A picture that is being drawn, by one thread. */
struct Drawing {
    int width;
    int height;
    std::unique_lock<std::mutex> fonts_lock; /* declared first, released last */
    const PangoFontDescription *fonts;
    std::unique_ptr<cairo_surface_t, Unreference> surface;
    std::unique_ptr<cairo_t, Unreference> context;
    std::unique_ptr<PangoLayout, Unreference> layout;
};

/* All black. */
Drawing begin_drawing(Fonts &fonts, int width, int height);

Colour mix(const Colour &from, const Colour &to, int part, int whole);

/* Blends the colour into the area: opacity 0 changes nothing, 255 replaces the pixels. */
void fill(const Drawing &drawing, const Rectangle &area, const Colour &colour, int opacity = 255);

void draw_text(const Drawing &drawing, const Line &line, const Words &words);

Picture picture_of(const Drawing &drawing);

} // namespace sim

#endif
