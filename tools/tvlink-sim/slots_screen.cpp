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

/* Guarded by `lock`, never destroyed: the library's worker may still draw while the program exits.
 */
struct ScreenSlots {
    std::mutex lock;
    ScreenSize size = default_screen;
    std::string font_file;
    std::shared_ptr<Fonts> fonts;
    bool loaded = false;
    std::vector<uint8_t> image; /* lives until the next one is drawn */
};

ScreenSlots &screen_slots()
{
    static ScreenSlots &slots = *new ScreenSlots;
    return slots;
}

/* Null when there are none. */
Fonts *fonts_of(ScreenSlots &slots)
{
    if (!slots.loaded) {
        slots.fonts = load_fonts(slots.font_file);
        slots.loaded = true;
    }
    return slots.fonts.get();
}

std::string why_no_fonts(const ScreenSlots &slots)
{
    return slots.font_file.empty() ? "no font is installed; the package fonts-dejavu-core has one"
                                   : quoted(slots.font_file) + " is no font";
}

void draw_image(ScreenSlots &slots, Fonts &fonts, const ScreenSize &size)
{
    const Screen screen =
        read_state([](const Television &tv) { return screen_of(tv, time_now(), seconds_now()); });
    slots.image = png_of(draw_screen(screen, fonts, size));
}

} // namespace

void set_screen(const ScreenSize &size, const std::string &font)
{
    ScreenSlots &slots = screen_slots();
    const std::lock_guard<std::mutex> guard(slots.lock);
    slots.size = size;
    slots.font_file = font;
}

void release_screen()
{
    ScreenSlots &slots = screen_slots();
    const std::lock_guard<std::mutex> guard(slots.lock);
    slots.fonts = nullptr;
    slots.loaded = false;
}

/* The parameters are width and height. */
void *get_screen_shot2(int16_t width, uint16_t height, uint32_t *length)
{
    ScreenSlots &slots = screen_slots();
    const std::lock_guard<std::mutex> guard(slots.lock);
    const nlohmann::json arguments = {{"width", width}, {"height", height}};
    Fonts *fonts = fonts_of(slots);
    if (fonts == nullptr) {
        narrate_call("get_screen_shot2", arguments, "screen? no picture: " + why_no_fonts(slots),
                     nullptr);
        return nullptr;
    }
    const ScreenSize size = capture_size(slots.size, width, height);
    draw_image(slots, *fonts, size);
    *length = static_cast<uint32_t>(slots.image.size());
    narrate_call("get_screen_shot2", arguments,
                 "screen? " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                     ", " + std::to_string(slots.image.size()) + " bytes",
                 slots.image.size());
    return slots.image.empty() ? nullptr : slots.image.data();
}

} // namespace sim
