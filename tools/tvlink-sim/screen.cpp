/* SPDX-License-Identifier: MIT */
#include "screen.h"

#include <algorithm>
#include <array>

#include "drawing.h"
#include "local_time.h"
#include "television.h"

namespace sim
{

namespace
{

/* What is drawn is placed in the coordinates of this size. */
constexpr ScreenSize layout_size = default_screen;

constexpr Colour white{255, 255, 255};
constexpr Colour grey{150, 155, 165};
constexpr Colour black{0, 0, 0};
constexpr Colour accent{255, 190, 60};
constexpr Colour stage{24, 26, 34}; /* the background of a stream */

constexpr std::array<Colour, 8> channel_colours = {{{38, 84, 160},
                                                    {30, 130, 76},
                                                    {130, 38, 60},
                                                    {118, 60, 150},
                                                    {60, 120, 40},
                                                    {200, 110, 30},
                                                    {20, 130, 150},
                                                    {150, 90, 50}}};

/* The tint of each picture mode. */
constexpr std::array<Colour, 4> mode_tints = {
    {{0, 0, 0}, {255, 80, 200}, {60, 30, 0}, {60, 255, 120}}};

int scaled_x(const Drawing &drawing, int x)
{
    return x * drawing.width / layout_size.width;
}

int scaled_y(const Drawing &drawing, int y)
{
    return y * drawing.height / layout_size.height;
}

float scaled_height(const Drawing &drawing, int size)
{
    const float wide = static_cast<float>(drawing.width) / layout_size.width;
    const float high = static_cast<float>(drawing.height) / layout_size.height;
    return static_cast<float>(size) * std::min(wide, high);
}

void box(const Drawing &drawing, const Rectangle &area, const Colour &colour, int opacity = 255)
{
    const int left = scaled_x(drawing, area.left);
    const int top = scaled_y(drawing, area.top);
    fill(drawing,
         {left, top, scaled_x(drawing, area.left + area.width) - left,
          scaled_y(drawing, area.top + area.height) - top},
         colour, opacity);
}

Line line_in(const Drawing &drawing, const Rectangle &area, const Colour &colour)
{
    return {scaled_x(drawing, area.left),
            scaled_y(drawing, area.top),
            scaled_x(drawing, area.width),
            scaled_height(drawing, area.height),
            colour,
            false};
}

void write(const Drawing &drawing, const Rectangle &area, const Colour &colour, const Words &words)
{
    draw_text(drawing, line_in(drawing, area, colour), words);
}

void write_centred(const Drawing &drawing, const Rectangle &area, const Colour &colour,
                   const Words &words)
{
    Line line = line_in(drawing, area, colour);
    line.centred = true;
    draw_text(drawing, line, words);
}

/* `part` is at most `whole`. */
void progress_bar(const Drawing &drawing, const Rectangle &area, uint32_t part, uint32_t whole)
{
    box(drawing, area, white, 50);
    if (whole > 0) {
        const uint64_t width = static_cast<uint64_t>(area.width) * part / whole;
        box(drawing, {area.left, area.top, static_cast<int>(width), area.height}, accent);
    }
}

std::string clock_words(uint32_t seconds)
{
    const auto two = [](uint32_t number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    return std::to_string(seconds / 3600) + ":" + two(seconds / 60 % 60) + ":" + two(seconds % 60);
}

bool shows_stream(const Screen &screen)
{
    return screen.state != PlayState::STOPPED;
}

/* A background that darkens towards the bottom, and a title in its middle. */
void draw_picture(const Drawing &drawing, const Screen &screen)
{
    const Colour base =
        shows_stream(screen) ? stage : channel_colours[screen.number % channel_colours.size()];
    const Colour tint = mode_tints[screen.picture_mode % mode_tints.size()];
    const Colour top = screen.picture_mode == 0 ? base : mix(base, tint, 1, 5);
    const int rows = drawing.height;
    for (int y = 0; y < rows; y++) {
        fill(drawing, {0, y, drawing.width, 1}, mix(top, black, y * 3, rows * 4));
    }
    write_centred(drawing, {160, 230, 960, 110}, white,
                  {"", shows_stream(screen) ? screen.stream : screen.channel});
}

void draw_head(const Drawing &drawing, const Screen &screen)
{
    write(drawing, {40, 28, 700, 34}, white, {"", screen.name});
    write(drawing, {1130, 28, 120, 34}, white, {tools::time_of_day(screen.time), ""});
    if (!screen.phone.empty()) {
        write(drawing, {40, 72, 700, 24}, grey, {"paired with ", screen.phone});
    }
    if (!screen.text.empty()) {
        box(drawing, {240, 400, 800, 56}, black, 160);
        write(drawing, {260, 412, 760, 32}, white, {"", screen.text});
    }
}

void draw_volume(const Drawing &drawing, const Screen &screen)
{
    constexpr int top = 140;
    constexpr int length = 340;
    const int level = length * screen.volume / 100;
    box(drawing, {1200, top, 24, length}, black, 130);
    box(drawing, {1200, top + length - level, 24, level}, screen.muted ? grey : accent);
    write_centred(drawing, {1160, top + length + 8, 104, 28}, screen.muted ? grey : white,
                  {screen.muted ? "MUTE" : std::to_string(screen.volume), ""});
}

void draw_programme(const Drawing &drawing, const Screen &screen)
{
    const ShownProgramme &present = screen.present;
    if (present.title.empty()) {
        write(drawing, {40, 610, 1000, 30}, grey, {"no programme information", ""});
    } else {
        write(drawing, {40, 604, 1000, 30}, white,
              {tools::time_of_day(present.start) + " - " + tools::time_of_day(present.end) + "  ",
               present.title});
        progress_bar(drawing, {40, 646, 1000, 8}, screen.time - present.start,
                     present.end - present.start);
    }
    if (!screen.next.title.empty()) {
        write(drawing, {40, 666, 1000, 26}, grey,
              {tools::time_of_day(screen.next.start) + "  ", screen.next.title});
    }
}

void draw_stream(const Drawing &drawing, const Screen &screen)
{
    write(drawing, {40, 604, 1000, 30}, white,
          {std::string(play_state_name(screen.state)) + "  " + clock_words(screen.position) +
               " / " + clock_words(screen.duration),
           ""});
    progress_bar(drawing, {40, 646, 1000, 8}, screen.position, screen.duration);
}

void draw_foot(const Drawing &drawing, const Screen &screen)
{
    box(drawing, {0, 540, 1280, 180}, black, 150);
    write(drawing, {40, 552, 1200, 42}, accent,
          {std::to_string(screen.number) + "  ", screen.channel});
    if (shows_stream(screen)) {
        draw_stream(drawing, screen);
    } else {
        draw_programme(drawing, screen);
    }
}

ShownProgramme shown(const Programme *programme)
{
    if (programme == nullptr) {
        return {};
    }
    return {programme->title, programme->start, static_cast<uint32_t>(end_of(*programme))};
}

} // namespace

Screen screen_of(const Television &tv, uint32_t time, uint32_t now)
{
    const Channel &channel = current_channel(tv);
    const Schedule &schedule = schedule_of(tv.guide, channel);
    const Player &player = tv.player;
    return {tv.on,
            tv.name,
            tv.picture_mode,
            channel.number,
            channel.name,
            shown(on_at(schedule, time)),
            shown(next_after(schedule, time)),
            time,
            tv.volume,
            tv.muted,
            tv.text,
            tv.phone,
            player.state,
            player.title.empty() ? player.address : player.title,
            player_position(player, now),
            player.duration};
}

Picture draw_screen(const Screen &screen, Fonts &fonts, const ScreenSize &size)
{
    const Drawing drawing = begin_drawing(fonts, size.width, size.height);
    if (screen.on) {
        draw_picture(drawing, screen);
        draw_head(drawing, screen);
        draw_volume(drawing, screen);
        draw_foot(drawing, screen);
    }
    return picture_of(drawing);
}

} // namespace sim
