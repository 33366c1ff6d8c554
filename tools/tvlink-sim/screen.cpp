/* SPDX-License-Identifier: MIT */
#include "screen.h"

#include <algorithm>
#include <array>

#include "calendar.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr ScreenSize native_size{1280, 720};
constexpr ScreenSize min_size{160, 90};
constexpr ScreenSize max_size{1920, 1080};

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

/* A canvas that is drawn on in the coordinates of native_size. */
struct Drawing {
    Canvas canvas;
    const Font *font;
};

int scaled_x(const Drawing &drawing, int x)
{
    return x * drawing.canvas.width / native_size.width;
}

int scaled_y(const Drawing &drawing, int y)
{
    return y * drawing.canvas.height / native_size.height;
}

float scaled_height(const Drawing &drawing, int size)
{
    const float wide = static_cast<float>(drawing.canvas.width) / native_size.width;
    const float high = static_cast<float>(drawing.canvas.height) / native_size.height;
    return static_cast<float>(size) * std::min(wide, high);
}

void box(Drawing &drawing, const Rectangle &area, const Colour &colour, int opacity = 255)
{
    const int left = scaled_x(drawing, area.left);
    const int top = scaled_y(drawing, area.top);
    fill(drawing.canvas,
         {left, top, scaled_x(drawing, area.left + area.width) - left,
          scaled_y(drawing, area.top + area.height) - top},
         colour, opacity);
}

void write(Drawing &drawing, const Rectangle &area, const Colour &colour, const std::string &text)
{
    draw_text(drawing.canvas, *drawing.font,
              {scaled_x(drawing, area.left), scaled_y(drawing, area.top),
               scaled_x(drawing, area.width), scaled_height(drawing, area.height), colour},
              text);
}

/* Centred in the area. */
void write_centred(Drawing &drawing, const Rectangle &area, const Colour &colour,
                   const std::string &text)
{
    const int room = scaled_x(drawing, area.width);
    const int taken = text_width(*drawing.font, text, scaled_height(drawing, area.height));
    draw_text(drawing.canvas, *drawing.font,
              {scaled_x(drawing, area.left) + std::max(0, (room - taken) / 2),
               scaled_y(drawing, area.top), room, scaled_height(drawing, area.height), colour},
              text);
}

/* `part` is at most `whole`. */
void progress_bar(Drawing &drawing, const Rectangle &area, uint32_t part, uint32_t whole)
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
void draw_picture(Drawing &drawing, const Screen &screen)
{
    const Colour base =
        shows_stream(screen) ? stage : channel_colours[screen.number % channel_colours.size()];
    const Colour tint = mode_tints[screen.picture_mode % mode_tints.size()];
    const Colour top = screen.picture_mode == 0 ? base : mix(base, tint, 1, 5);
    const int rows = drawing.canvas.height;
    for (int y = 0; y < rows; y++) {
        fill(drawing.canvas, {0, y, drawing.canvas.width, 1}, mix(top, black, y * 3, rows * 4));
    }
    write_centred(drawing, {160, 230, 960, 110}, white,
                  shows_stream(screen) ? screen.stream : screen.channel);
}

void draw_head(Drawing &drawing, const Screen &screen)
{
    write(drawing, {40, 28, 700, 34}, white, screen.name);
    write(drawing, {1130, 28, 120, 34}, white, time_of_day(screen.time));
    if (!screen.phone.empty()) {
        write(drawing, {40, 72, 700, 24}, grey, "paired with " + screen.phone);
    }
    if (!screen.text.empty()) {
        box(drawing, {240, 400, 800, 56}, black, 160);
        write(drawing, {260, 412, 760, 32}, white, screen.text);
    }
}

void draw_volume(Drawing &drawing, const Screen &screen)
{
    constexpr int top = 140;
    constexpr int length = 340;
    const int level = length * screen.volume / 100;
    box(drawing, {1200, top, 24, length}, black, 130);
    box(drawing, {1200, top + length - level, 24, level}, screen.muted ? grey : accent);
    write_centred(drawing, {1160, top + length + 8, 104, 28}, screen.muted ? grey : white,
                  screen.muted ? "MUTE" : std::to_string(screen.volume));
}

void draw_programme(Drawing &drawing, const Screen &screen)
{
    const ShownProgramme &present = screen.present;
    if (present.title.empty()) {
        write(drawing, {40, 610, 1000, 30}, grey, "no programme information");
    } else {
        write(drawing, {40, 604, 1000, 30}, white,
              time_of_day(present.start) + " - " + time_of_day(present.end) + "  " + present.title);
        progress_bar(drawing, {40, 646, 1000, 8}, screen.time - present.start,
                     present.end - present.start);
    }
    if (!screen.next.title.empty()) {
        write(drawing, {40, 666, 1000, 26}, grey,
              time_of_day(screen.next.start) + "  " + screen.next.title);
    }
}

void draw_stream(Drawing &drawing, const Screen &screen)
{
    write(drawing, {40, 604, 1000, 30}, white,
          std::string(play_state_name(screen.state)) + "  " + clock_words(screen.position) + " / " +
              clock_words(screen.duration));
    progress_bar(drawing, {40, 646, 1000, 8}, screen.position, screen.duration);
}

void draw_foot(Drawing &drawing, const Screen &screen)
{
    box(drawing, {0, 540, 1280, 180}, black, 150);
    write(drawing, {40, 552, 1200, 42}, accent,
          std::to_string(screen.number) + "  " + screen.channel);
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

int clamped(int asked, int native, int min, int max)
{
    return asked == 0 ? native : std::clamp(asked, min, max);
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

ScreenSize screen_size(int width, int height)
{
    return {clamped(width, native_size.width, min_size.width, max_size.width),
            clamped(height, native_size.height, min_size.height, max_size.height)};
}

Canvas draw_screen(const Screen &screen, const Font &font, const ScreenSize &size)
{
    Drawing drawing{make_canvas(size.width, size.height), &font};
    if (screen.on) {
        draw_picture(drawing, screen);
        draw_head(drawing, screen);
        draw_volume(drawing, screen);
        draw_foot(drawing, screen);
    }
    return drawing.canvas;
}

} // namespace sim
