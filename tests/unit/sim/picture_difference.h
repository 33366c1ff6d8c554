/* SPDX-License-Identifier: MIT */
/* How far two pictures are apart. What a letter takes away or adds is little in a whole picture, so
 * pixels that differ much are counted in small windows. */
#pragma once

#include "picture.h"

#include <algorithm>
#include <cstdlib>
#include <ostream>

constexpr int window_side = 16;

struct PictureDifference {
    double mean = 255;         /* of all channels of all pixels, of 255 */
    double worst_window = 255; /* percent of its pixels that differ much */
};

inline std::ostream &operator<<(std::ostream &out, const PictureDifference &difference)
{
    return out << "mean " << difference.mean << ", worst window " << difference.worst_window << "%";
}

inline int channel_difference(const sim::Picture &a, const sim::Picture &b, size_t at)
{
    return std::abs(int{a.pixels[at]} - int{b.pixels[at]});
}

inline bool differs_much(const sim::Picture &a, const sim::Picture &b, int x, int y)
{
    constexpr int much = 80;
    const size_t at =
        (static_cast<size_t>(y) * static_cast<size_t>(a.width) + static_cast<size_t>(x)) * 3;
    return channel_difference(a, b, at) > much || channel_difference(a, b, at + 1) > much ||
           channel_difference(a, b, at + 2) > much;
}

inline double share_in_window(const sim::Picture &a, const sim::Picture &b, int left, int top)
{
    int count = 0;
    for (int y = top; y < std::min(top + window_side, a.height); y++) {
        for (int x = left; x < std::min(left + window_side, a.width); x++) {
            count += differs_much(a, b, x, y) ? 1 : 0;
        }
    }
    return 100.0 * count / (window_side * window_side);
}

/* The windows overlap by half. */
inline double worst_window(const sim::Picture &a, const sim::Picture &b)
{
    double worst = 0;
    for (int y = 0; y < a.height; y += window_side / 2) {
        for (int x = 0; x < a.width; x += window_side / 2) {
            worst = std::max(worst, share_in_window(a, b, x, y));
        }
    }
    return worst;
}

inline PictureDifference difference_of(const sim::Picture &a, const sim::Picture &b)
{
    if (a.width != b.width || a.height != b.height || a.pixels.empty()) {
        return {};
    }
    double sum = 0;
    for (size_t i = 0; i < a.pixels.size(); i++) {
        sum += channel_difference(a, b, i);
    }
    return {sum / static_cast<double>(a.pixels.size()), worst_window(a, b)};
}

/* Another release of a font or of its rasteriser may move edges a little. */
inline bool look_the_same(const PictureDifference &difference)
{
    return difference.mean < 1 && difference.worst_window < 6;
}
