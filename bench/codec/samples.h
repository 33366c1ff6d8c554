/* SPDX-License-Identifier: MIT */
/* The content to compress: lists as televisions send them, random bytes, and zeros. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Sample {
    std::string name;
    std::vector<uint8_t> content;
};

/* Deterministic. */
std::vector<Sample> samples(size_t size);
