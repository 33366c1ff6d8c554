/* SPDX-License-Identifier: MIT */
#include "fonts.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include "font_map.h"

namespace sim
{

namespace
{

using Config = std::unique_ptr<FcConfig, void (*)(FcConfig *)>;
using Pattern = std::unique_ptr<FcPattern, void (*)(FcPattern *)>;

const FcChar8 *fontconfig_text(const std::string &text)
{
    return reinterpret_cast<const FcChar8 *>(text.c_str());
}

std::string value_of(FcPattern *pattern, const char *property)
{
    FcChar8 *value = nullptr;
    const bool found = FcPatternGetString(pattern, property, 0, &value) == FcResultMatch;
    return found ? reinterpret_cast<const char *>(value) : "";
}

/* Pango draws with no font of another format. */
bool is_drawable(FcPattern *font)
{
    const std::string format = value_of(font, FC_FONTFORMAT);
    return format == "TrueType" || format == "CFF";
}

bool has_drawable_font(FcConfig *config, FcSetName name)
{
    const FcFontSet *fonts = FcConfigGetFonts(config, name);
    for (int i = 0; fonts != nullptr && i < fonts->nfont; i++) {
        if (is_drawable(fonts->fonts[i])) {
            return true;
        }
    }
    return false;
}

/* The name of the family that the file belongs to; empty when it is no font that can be drawn. */
std::string family_of(const std::string &file)
{
    int fonts_in_file = 0;
    const Pattern pattern(FcFreeTypeQuery(fontconfig_text(file), 0, nullptr, &fonts_in_file),
                          FcPatternDestroy);
    return pattern != nullptr && is_drawable(pattern.get()) ? value_of(pattern.get(), FC_FAMILY)
                                                            : "";
}

PangoFontMap *font_map(FcConfig *config)
{
    PangoFontMap *map = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
    pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(map), config);
    return map;
}

} // namespace

Fonts::~Fonts()
{
    pango_font_description_free(description);
    if (map != nullptr) {
        g_object_unref(map);
    }
}

std::shared_ptr<Fonts> load_fonts(const std::string &file)
{
    const Config config(FcInitLoadConfigAndFonts(), FcConfigDestroy);
    if (config == nullptr) {
        return nullptr;
    }
    std::string families = "Sans";
    if (!file.empty()) {
        const std::string family = family_of(file);
        if (family.empty() ||
            FcConfigAppFontAddFile(config.get(), fontconfig_text(file)) == FcFalse) {
            return nullptr;
        }
        families = family + "," + families;
    }
    if (!has_drawable_font(config.get(), FcSetSystem) &&
        !has_drawable_font(config.get(), FcSetApplication)) {
        return nullptr;
    }
    auto fonts = std::make_shared<Fonts>();
    fonts->map = font_map(config.get());
    fonts->description = pango_font_description_new();
    pango_font_description_set_family(fonts->description, families.c_str());
    return fonts;
}

} // namespace sim
