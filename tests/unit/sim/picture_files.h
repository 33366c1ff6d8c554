/* SPDX-License-Identifier: MIT */
/* Pictures as PNG files, read by another hand than the one that wrote them. */
#pragma once

#include "picture.h"

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <stb/stb_image.h>

inline sim::Picture read_png(const std::vector<uint8_t> &png)
{
    sim::Picture picture;
    int channels = 0;
    stbi_uc *pixels = stbi_load_from_memory(png.data(), static_cast<int>(png.size()),
                                            &picture.width, &picture.height, &channels, 3);
    EXPECT_NE(pixels, nullptr) << stbi_failure_reason();
    EXPECT_EQ(channels, 3);
    if (pixels != nullptr) {
        picture.pixels.assign(pixels, pixels + picture.width * picture.height * 3);
        stbi_image_free(pixels);
    }
    return picture;
}

inline sim::Picture read_png_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::stringstream content;
    content << file.rdbuf();
    const std::string bytes = content.str();
    return read_png(std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

inline void write_png_file(const std::string &path, const sim::Picture &picture)
{
    const std::vector<uint8_t> png = sim::png_of(picture);
    std::ofstream(path, std::ios::binary) << std::string(png.begin(), png.end());
}
