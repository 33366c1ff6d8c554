/* SPDX-License-Identifier: MIT */
/* In place of slots_screen.cpp where there is no Pango. */
#include "slots.h"

#include "narrate.h"

namespace sim
{

void set_screen(const ScreenSize &, const std::string &)
{
}

void release_screen()
{
}

void *get_screen_shot2(int16_t width, uint16_t height, uint32_t *)
{
    narrate_call("get_screen_shot2", {{"width", width}, {"height", height}},
                 "screen? no picture: built without Pango", nullptr);
    return nullptr;
}

} // namespace sim
