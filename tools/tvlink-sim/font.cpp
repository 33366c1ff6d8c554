/* SPDX-License-Identifier: MIT */
#include "font.h"

#include <stb/stb_truetype.h>

#include "system.h"

namespace sim
{

struct Font {
    std::string file;
    stbtt_fontinfo info;
};

namespace
{

constexpr size_t min_file_bytes = 12; /* the header of the table directory */
constexpr size_t max_font_bytes = 67108864;

/* Empty when the file cannot be read or is too large. */
std::string font_file(const std::string &path)
{
    try {
        return tools::read_file(path, max_font_bytes);
    } catch (const tools::FileError &) {
        return "";
    }
}

} // namespace

std::shared_ptr<const Font> load_font(const std::string &path)
{
    auto font = std::make_shared<Font>();
    font->file = font_file(path);
    if (font->file.size() < min_file_bytes) {
        return nullptr;
    }
    const auto *data = reinterpret_cast<const unsigned char *>(font->file.data());
    const int offset = stbtt_GetFontOffsetForIndex(data, 0);
    if (offset < 0 || stbtt_InitFont(&font->info, data, offset) == 0) {
        return nullptr;
    }
    return font;
}

Glyph draw_glyph(const Font &font, uint32_t character, float size)
{
    const float scale = stbtt_ScaleForPixelHeight(&font.info, size);
    const int code = static_cast<int>(character);
    int right = 0;
    int bottom = 0;
    Glyph glyph{};
    stbtt_GetCodepointBitmapBox(&font.info, code, scale, scale, &glyph.left, &glyph.top, &right,
                                &bottom);
    glyph.width = right - glyph.left;
    glyph.height = bottom - glyph.top;
    if (glyph.width <= 0 || glyph.height <= 0) {
        return {0, 0, 0, 0, {}};
    }
    glyph.coverage.resize(static_cast<size_t>(glyph.width) * static_cast<size_t>(glyph.height));
    stbtt_MakeCodepointBitmap(&font.info, glyph.coverage.data(), glyph.width, glyph.height,
                              glyph.width, scale, scale, code);
    return glyph;
}

float glyph_advance(const Font &font, uint32_t character, float size)
{
    int advance = 0;
    int bearing = 0;
    stbtt_GetCodepointHMetrics(&font.info, static_cast<int>(character), &advance, &bearing);
    return static_cast<float>(advance) * stbtt_ScaleForPixelHeight(&font.info, size);
}

} // namespace sim
