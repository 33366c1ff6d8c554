/* SPDX-License-Identifier: MIT */
/* The picture of the screen. */
#include "slots.h"

#include "host.h"
#include "narrate.h"
#include "printable.h"
#include "screen.h"

namespace sim
{

namespace
{

std::string &font_path()
{
    static std::string &path = *new std::string;
    return path;
}

/* Read when it is first wanted. */
const std::shared_ptr<const Font> &font()
{
    static const std::shared_ptr<const Font> &font =
        *new std::shared_ptr<const Font>(load_font(font_path()));
    return font;
}

} // namespace

void set_screen_font(const std::string &file)
{
    font_path() = file;
}

/* The parameters are width and height. The picture stays ours: it lives until the next one is
 * drawn. */
void *get_screen_shot2(int16_t width, uint16_t height, uint32_t *length)
{
    static std::vector<uint8_t> &image = *new std::vector<uint8_t>;
    const nlohmann::json arguments = {{"width", width}, {"height", height}};
    if (font() == nullptr) {
        narrate_call("get_screen_shot2", arguments,
                     "screen? no picture: " + sim::quoted(font_path()) + " is no font", nullptr);
        return nullptr;
    }
    const ScreenSize size = screen_size(width, height);
    const Screen screen =
        read_state([](const Television &tv) { return screen_of(tv, time_now(), seconds_now()); });
    image = png_of(draw_screen(screen, *font(), size));
    *length = static_cast<uint32_t>(image.size());
    narrate_call("get_screen_shot2", arguments,
                 "screen? " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                     ", " + std::to_string(image.size()) + " bytes",
                 image.size());
    return image.empty() ? nullptr : image.data();
}

} // namespace sim
