/* SPDX-License-Identifier: MIT */
/* The picture on the television's screen. */
#ifndef TVLINK_SIM_SCREEN_H
#define TVLINK_SIM_SCREEN_H

#include <cstdint>
#include <string>

#include "fonts.h"
#include "picture.h"
#include "player.h"
#include "screen_size.h"

namespace sim
{

struct Television;

struct ShownProgramme {
    std::string title; /* empty when the guide has no programme */
    uint32_t start = 0;
    uint32_t end = 0;
};

/* A snapshot of all that is drawn. */
struct Screen {
    bool on;
    std::string name;
    uint32_t picture_mode;
    uint16_t number;
    std::string channel;
    ShownProgramme present;
    ShownProgramme next;
    uint32_t time; /* Unix seconds */
    int volume;
    bool muted;
    std::string text;
    std::string phone;
    PlayState state;
    std::string stream; /* title, or address */
    uint32_t position;
    uint32_t duration;
};

/* `time` is Unix time, for the guide; `now` is the player's clock. */
Screen screen_of(const Television &tv, uint32_t time, uint32_t now);

/* All black in standby. One thread at a time draws with the same fonts; others wait. */
Picture draw_screen(const Screen &screen, Fonts &fonts, const ScreenSize &size);

} // namespace sim

#endif
