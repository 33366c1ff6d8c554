/* SPDX-License-Identifier: MIT */
/* Inputs for the codec that are the same in every run, and streams that are made code by code. */
#pragma once

#include "support/wire.h"

#include <random>

class Random
{
public:
    explicit Random(uint32_t seed) : engine_(seed)
    {
    }

    uint32_t below(uint32_t limit)
    {
        return static_cast<uint32_t>(engine_() % limit);
    }

private:
    std::mt19937 engine_;
};

/* Codes in the width that a decoder reads them with. */
class CodeStream
{
public:
    /* The decoder makes a string for each code but these two, and widens when it is time. */
    void add(uint32_t code)
    {
        write(code, width_);
        if (code == 256) {
            next_ = 258;
            width_ = 9;
        } else if (code != 257) {
            next_ = (next_ + 1) & 0xFFFF;
            width_ += next_ == 1u << width_ ? 1 : 0;
        }
    }

    void write(uint32_t code, uint32_t width)
    {
        for (uint32_t bit = width; bit-- > 0;) {
            if (bits_ % 8 == 0) {
                bytes_.push_back(0);
            }
            bytes_.back() =
                static_cast<uint8_t>(bytes_.back() | (code >> bit & 1) << (7 - bits_ % 8));
            bits_++;
        }
    }

    const Bytes &bytes() const
    {
        return bytes_;
    }
    size_t bits() const
    {
        return bits_;
    }
    uint32_t next() const
    {
        return next_;
    }
    uint32_t width() const
    {
        return width_;
    }

private:
    Bytes bytes_;
    size_t bits_ = 0;
    uint32_t next_ = 258;
    uint32_t width_ = 9;
};

/* Letters of an alphabet of this size, 256 for any byte. */
inline Bytes random_bytes(size_t length, uint32_t seed, uint32_t alphabet = 256)
{
    Random random(seed);
    Bytes result(length);
    for (uint8_t &byte : result) {
        byte = static_cast<uint8_t>(random.below(alphabet));
    }
    return result;
}
