/* SPDX-License-Identifier: MIT */
#include "drawing.h"

#include <algorithm>
#include <vector>

#include "font_map.h"
#include "utf8.h"

namespace sim
{

namespace
{

/* More than fit into a line of any size. */
constexpr size_t max_characters = 1000;

/* Around a name: the direction of what is between them is that of its first letter, and what is
 * outside of them does not depend on it. U+2068 and U+2069, which no literal text may leave open.
 */
constexpr char first_strong_isolate[] = {'\xE2', '\x81', '\xA8', '\0'};
constexpr char pop_directional_isolate[] = {'\xE2', '\x81', '\xA9', '\0'};
constexpr char replacement_character[] = "\uFFFD";
constexpr char ellipsis[] = "\u2026";

/* An em, as a share of the height from the highest letter to the lowest. */
constexpr float em = 0.86F;
constexpr float baseline = 0.8F;

double fraction(uint8_t value)
{
    return value / 255.0;
}

uint8_t between(uint8_t from, uint8_t to, int part, int whole)
{
    return static_cast<uint8_t>(from + (to - from) * part / whole);
}

void take_colour(cairo_t *context, const Colour &colour, int opacity)
{
    cairo_set_source_rgba(context, fraction(colour.red), fraction(colour.green),
                          fraction(colour.blue), opacity / 255.0);
}

bool is_control(uint32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
           character == 0x2029;
}

bool is_isolate(uint32_t character)
{
    return character >= 0x2066 && character <= 0x2069;
}

/* What is drawn for the character at `at`, which is `length` bytes long; 0 when it is malformed. */
std::string drawn_character(const std::string &text, size_t at, size_t length)
{
    if (length == 0) {
        return replacement_character;
    }
    const uint32_t character = tools::code_point(text, at, length);
    return is_control(character)   ? " "
           : is_isolate(character) ? "" /* it could end the isolation of the whole name */
                                   : text.substr(at, length);
}

/* The name in well-formed UTF-8, without what is not to be drawn. */
std::string drawn_name(const std::string &name)
{
    std::string result;
    size_t at = 0;
    for (size_t count = 0; at < name.size() && count < max_characters; count++) {
        const size_t length = tools::character_length(name, at);
        result += drawn_character(name, at, length);
        at += std::max<size_t>(length, 1);
    }
    return result;
}

std::string isolated(const std::string &name)
{
    return name.empty() ? "" : first_strong_isolate + name + pop_directional_isolate;
}

/* Outlines as they are at every size: not hinted, and with grey edges. */
void take_outlines(PangoContext *context)
{
    cairo_font_options_t *options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
}

PangoLayout *one_line_layout(PangoFontMap *map)
{
    PangoContext *context = pango_font_map_create_context(map);
    take_outlines(context);
    pango_context_set_round_glyph_positions(context, FALSE);
    pango_context_set_base_dir(context, PANGO_DIRECTION_LTR);
    PangoLayout *layout = pango_layout_new(context);
    g_object_unref(context);
    pango_layout_set_auto_dir(layout, FALSE);
    pango_layout_set_single_paragraph_mode(layout, TRUE);
    return layout;
}

void take_size(const Drawing &drawing, float size)
{
    PangoFontDescription *description = pango_font_description_copy(drawing.fonts);
    pango_font_description_set_absolute_size(description, double{size * em} * PANGO_SCALE);
    pango_layout_set_font_description(drawing.layout.get(), description);
    pango_font_description_free(description);
}

int text_width(PangoLayout *layout, const std::string &text)
{
    int width = 0;
    pango_layout_set_text(layout, text.c_str(), static_cast<int>(text.size()));
    pango_layout_get_pixel_size(layout, &width, nullptr);
    return width;
}

/* The offsets at which the text may be cut: between letters, not between a letter and its marks. */
std::vector<size_t> places_to_cut(PangoLayout *layout, const std::string &text)
{
    pango_layout_set_text(layout, text.c_str(), static_cast<int>(text.size()));
    int count = 0;
    const PangoLogAttr *characters = pango_layout_get_log_attrs_readonly(layout, &count);
    std::vector<size_t> places;
    size_t at = 0;
    for (int i = 0; i < count && at < text.size(); i++) {
        if (characters[i].is_cursor_position != 0) {
            places.push_back(at);
        }
        at += tools::character_length(text, at);
    }
    return places;
}

/* The longest text that fits into the room, its name cut if need be. The ellipsis stands inside of
 * the isolation, so that it follows the name in the name's own direction. */
std::string fitted(PangoLayout *layout, const std::string &own, const std::string &name, int room)
{
    std::string whole = own + isolated(name);
    if (text_width(layout, whole) <= room) {
        return whole;
    }
    const auto cut_at = [&](size_t place) {
        return own + isolated(name.substr(0, place) + ellipsis);
    };
    const std::vector<size_t> places = places_to_cut(layout, name);
    const auto first_too_wide =
        std::partition_point(places.begin(), places.end(), [&](size_t place) {
            return text_width(layout, cut_at(place)) <= room;
        });
    return first_too_wide == places.begin() ? own : cut_at(*(first_too_wide - 1));
}

} // namespace

void Unreference::operator()(cairo_surface_t *surface) const
{
    cairo_surface_destroy(surface);
}

void Unreference::operator()(cairo_t *context) const
{
    cairo_destroy(context);
}

void Unreference::operator()(PangoLayout *layout) const
{
    g_object_unref(layout);
}

Drawing begin_drawing(Fonts &fonts, int width, int height)
{
    Drawing drawing{
        width,   height, std::unique_lock<std::mutex>(fonts.lock), fonts.description, nullptr,
        nullptr, nullptr};
    drawing.surface.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    drawing.context.reset(cairo_create(drawing.surface.get()));
    drawing.layout.reset(one_line_layout(fonts.map));
    cairo_set_antialias(drawing.context.get(), CAIRO_ANTIALIAS_NONE); /* of shapes */
    return drawing;
}

Colour mix(const Colour &from, const Colour &to, int part, int whole)
{
    return {between(from.red, to.red, part, whole), between(from.green, to.green, part, whole),
            between(from.blue, to.blue, part, whole)};
}

void fill(const Drawing &drawing, const Rectangle &area, const Colour &colour, int opacity)
{
    cairo_t *context = drawing.context.get();
    take_colour(context, colour, opacity);
    cairo_rectangle(context, area.left, area.top, area.width, area.height);
    cairo_fill(context);
}

void draw_text(const Drawing &drawing, const Line &line, const Words &words)
{
    PangoLayout *layout = drawing.layout.get();
    take_size(drawing, line.size);
    const std::string text = fitted(layout, words.own, drawn_name(words.name), line.width);
    const int left = line.centred ? std::max(0, (line.width - text_width(layout, text)) / 2) : 0;
    pango_layout_set_text(layout, text.c_str(), static_cast<int>(text.size()));
    take_colour(drawing.context.get(), line.colour, 255);
    cairo_move_to(drawing.context.get(), line.left + left,
                  line.top + static_cast<int>(line.size * baseline));
    pango_cairo_show_layout_line(drawing.context.get(), pango_layout_get_line_readonly(layout, 0));
}

Picture picture_of(const Drawing &drawing)
{
    cairo_surface_flush(drawing.surface.get());
    const unsigned char *data = cairo_image_surface_get_data(drawing.surface.get());
    const int stride = cairo_image_surface_get_stride(drawing.surface.get());
    Picture picture{drawing.width, drawing.height, {}};
    picture.pixels.resize(static_cast<size_t>(drawing.width) * static_cast<size_t>(drawing.height) *
                          3);
    uint8_t *to = picture.pixels.data();
    for (int y = 0; data != nullptr && y < drawing.height; y++) {
        const void *row = data + static_cast<ptrdiff_t>(y) * stride;
        const auto *from = static_cast<const uint32_t *>(row);
        for (int x = 0; x < drawing.width; x++) {
            *to++ = static_cast<uint8_t>(from[x] >> 16);
            *to++ = static_cast<uint8_t>(from[x] >> 8);
            *to++ = static_cast<uint8_t>(from[x]);
        }
    }
    return picture;
}

} // namespace sim
