/* What is compressed: replies as televisions send them, and the two extremes. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Sample {
    std::string name;
    std::vector<uint8_t> content;
};

/* The same in every run. */
std::vector<Sample> samples(size_t size);
