/* SPDX-License-Identifier: MIT */
#include "screen_size.h"

#include <algorithm>

#include "numbers.h"

namespace sim
{

namespace
{

constexpr ScreenSize max_capture{1920, 1080}; /* of a screen that is no larger */

int clamped(int asked, int own, int min, int max)
{
    return asked == 0 ? own : std::clamp(asked, min, std::max(own, max));
}

std::optional<int> side(const std::string &text, int min, int max)
{
    const std::optional<uint32_t> number = tools::decimal(text, static_cast<uint32_t>(max));
    return number && *number >= static_cast<uint32_t>(min)
               ? std::optional<int>(static_cast<int>(*number))
               : std::nullopt;
}

} // namespace

std::optional<ScreenSize> read_screen_size(const std::string &text)
{
    const size_t middle = text.find('x');
    if (middle == std::string::npos) {
        return std::nullopt;
    }
    const std::optional<int> width =
        side(text.substr(0, middle), min_screen.width, max_screen.width);
    const std::optional<int> height =
        side(text.substr(middle + 1), min_screen.height, max_screen.height);
    return width && height ? std::optional<ScreenSize>({*width, *height}) : std::nullopt;
}

ScreenSize capture_size(const ScreenSize &screen, int width, int height)
{
    return {clamped(width, screen.width, min_screen.width, max_capture.width),
            clamped(height, screen.height, min_screen.height, max_capture.height)};
}

} // namespace sim
