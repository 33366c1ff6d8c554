/* SPDX-License-Identifier: MIT */
/* How many pixels the television's screen has. */
#ifndef TVLINK_SIM_SCREEN_SIZE_H
#define TVLINK_SIM_SCREEN_SIZE_H

#include <optional>
#include <string>

namespace sim
{

struct ScreenSize {
    int width;
    int height;
};

constexpr ScreenSize default_screen{1280, 720};
constexpr ScreenSize min_screen{160, 90};
constexpr ScreenSize max_screen{3840, 2160};

/* The size that "1920x1080" names; empty for any other text, and when it is outside of the bounds.
 */
std::optional<ScreenSize> read_screen_size(const std::string &text);

/* The size of a capture for the parameters of its request: 0 stands for the screen's own size,
 * other values are clamped to 160 to 1920 and 90 to 1080, or up to the screen's own size when that
 * is larger. */
ScreenSize capture_size(const ScreenSize &screen, int width, int height);

} // namespace sim

#endif
