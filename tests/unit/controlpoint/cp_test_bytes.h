/* SPDX-License-Identifier: MIT */
/* Bytes for the tests of the control point: written as literals, compared whole. */
#ifndef CP_TEST_BYTES_H
#define CP_TEST_BYTES_H

#include "controlpoint.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace cp_test
{

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes front, const Bytes &back)
{
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

inline Bytes text_bytes(const std::string &text)
{
    return {text.begin(), text.end()};
}

inline Bytes zeros(size_t size)
{
    return Bytes(size, 0);
}

inline CpBytes view(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

inline Bytes taken(CpBytes bytes)
{
    return {bytes.data, bytes.data + bytes.size};
}

inline std::string text_of(CpBytes bytes)
{
    return {bytes.data, bytes.data + bytes.size};
}

/* The first `size` bytes on a heap block of their own, so that a read beyond them is noticed. */
inline Bytes front_of(const Bytes &bytes, size_t size)
{
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

/* A frame, made independently of the unit that is tested. */
inline Bytes frame_bytes(uint8_t type, const Bytes &payload)
{
    const auto size = static_cast<uint32_t>(payload.size() + 72);
    Bytes frame = {0xA5, 0xA5, 0xA5};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<uint8_t>(size >> shift));
    }
    frame = frame + zeros(43) + Bytes{type} + payload + zeros(20);
    unsigned sum = 0;
    for (const uint8_t byte : frame) {
        sum += byte;
    }
    frame.push_back(static_cast<uint8_t>(sum));
    return frame;
}

/* A buffer that a builder fills. */
struct Built {
    Built() = default;
    ~Built()
    {
        cp_buffer_free(&buffer);
    }
    Built(const Built &) = delete;
    Built &operator=(const Built &) = delete;

    Bytes bytes() const
    {
        return {buffer.data, buffer.data + buffer.size};
    }

    CpBuffer buffer = {};
};

/* The event 0x1234, value 7, text "ab", data 01 02 03. */
inline Bytes small_event()
{
    return {0x34, 0x12, 4, 3, 7, 0, 8, 2, 0, 0, 0, 'a', 'b', 0x0C, 3, 0, 0, 0, 1, 2, 3};
}

} // namespace cp_test

#endif
