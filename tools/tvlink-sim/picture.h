/* SPDX-License-Identifier: MIT */
/* A finished picture, and its form as a file. */
#ifndef TVLINK_SIM_PICTURE_H
#define TVLINK_SIM_PICTURE_H

#include <cstdint>
#include <vector>

namespace sim
{

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels; /* red, green, blue, row by row */
};

/* The picture as PNG; empty when memory runs out. */
std::vector<uint8_t> png_of(const Picture &picture);

} // namespace sim

#endif
