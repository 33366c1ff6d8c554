/* SPDX-License-Identifier: MIT */
#include "canvas.h"

#include <algorithm>
#include <cmath>

#include <stb/stb_image_write.h>

#include "utf8.h"

namespace sim
{

namespace
{

constexpr int channels_a_pixel = 3;
constexpr uint32_t unknown_character = '?';

size_t pixel_at(const Canvas &canvas, int x, int y)
{
    return (static_cast<size_t>(y) * static_cast<size_t>(canvas.width) + static_cast<size_t>(x)) *
           channels_a_pixel;
}

uint8_t between(uint8_t from, uint8_t to, int part, int whole)
{
    return static_cast<uint8_t>(from + (to - from) * part / whole);
}

void blend(Canvas &canvas, int x, int y, const Colour &colour, int opacity)
{
    if (x < 0 || y < 0 || x >= canvas.width || y >= canvas.height) {
        return;
    }
    uint8_t *pixel = &canvas.pixels[pixel_at(canvas, x, y)];
    const Colour mixed = mix({pixel[0], pixel[1], pixel[2]}, colour, opacity, 255);
    pixel[0] = mixed.red;
    pixel[1] = mixed.green;
    pixel[2] = mixed.blue;
}

std::vector<uint32_t> characters_of(const std::string &text)
{
    std::vector<uint32_t> characters;
    size_t at = 0;
    while (at < text.size()) {
        const size_t length = tools::character_length(text, at);
        characters.push_back(length == 0 ? unknown_character : tools::code_point(text, at, length));
        at += std::max<size_t>(length, 1);
    }
    return characters;
}

float width_of(const Font &font, const std::vector<uint32_t> &characters, float size)
{
    float width = 0;
    for (const uint32_t character : characters) {
        width += glyph_advance(font, character, size);
    }
    return width;
}

/* The characters that fit into `room` pixels, ending in three dots when some do not. */
std::vector<uint32_t> fitted(const Font &font, std::vector<uint32_t> characters, float size,
                             float room)
{
    float width = width_of(font, characters, size);
    if (width <= room) {
        return characters;
    }
    const std::vector<uint32_t> dots(3, '.');
    const float dots_width = width_of(font, dots, size);
    while (!characters.empty() && width + dots_width > room) {
        width -= glyph_advance(font, characters.back(), size);
        characters.pop_back();
    }
    characters.insert(characters.end(), dots.begin(), dots.end());
    return characters;
}

void draw_character(Canvas &canvas, const Glyph &glyph, int left, int base, const Colour &colour)
{
    for (int y = 0; y < glyph.height; y++) {
        for (int x = 0; x < glyph.width; x++) {
            const size_t at =
                static_cast<size_t>(y) * static_cast<size_t>(glyph.width) + static_cast<size_t>(x);
            blend(canvas, left + glyph.left + x, base + glyph.top + y, colour, glyph.coverage[at]);
        }
    }
}

void append_bytes(void *context, void *data, int size)
{
    auto *bytes = static_cast<std::vector<uint8_t> *>(context);
    const auto *from = static_cast<const uint8_t *>(data);
    bytes->insert(bytes->end(), from, from + size);
}

} // namespace

Canvas make_canvas(int width, int height)
{
    Canvas canvas{width, height, {}};
    canvas.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height) *
                         channels_a_pixel);
    return canvas;
}

Colour mix(const Colour &from, const Colour &to, int part, int whole)
{
    return {between(from.red, to.red, part, whole), between(from.green, to.green, part, whole),
            between(from.blue, to.blue, part, whole)};
}

void fill(Canvas &canvas, const Rectangle &area, const Colour &colour, int opacity)
{
    for (int y = std::max(area.top, 0); y < std::min(area.top + area.height, canvas.height); y++) {
        for (int x = std::max(area.left, 0); x < std::min(area.left + area.width, canvas.width);
             x++) {
            blend(canvas, x, y, colour, opacity);
        }
    }
}

void draw_text(Canvas &canvas, const Font &font, const Line &line, const std::string &text)
{
    const auto room = static_cast<float>(line.width);
    const auto base = line.top + static_cast<int>(line.size * 0.8F);
    auto pen = static_cast<float>(line.left);
    for (const uint32_t character : fitted(font, characters_of(text), line.size, room)) {
        draw_character(canvas, draw_glyph(font, character, line.size),
                       static_cast<int>(std::lround(pen)), base, line.colour);
        pen += glyph_advance(font, character, line.size);
    }
}

int text_width(const Font &font, const std::string &text, float size)
{
    return static_cast<int>(std::ceil(width_of(font, characters_of(text), size)));
}

std::vector<uint8_t> png_of(const Canvas &canvas)
{
    /* Without row filters flat areas are encoded fastest, and no larger than with them. */
    stbi_write_force_png_filter = 0;
    stbi_write_png_compression_level = 5;
    std::vector<uint8_t> bytes;
    const int written =
        stbi_write_png_to_func(append_bytes, &bytes, canvas.width, canvas.height, channels_a_pixel,
                               canvas.pixels.data(), canvas.width * channels_a_pixel);
    return written != 0 ? bytes : std::vector<uint8_t>();
}

} // namespace sim
