/* SPDX-License-Identifier: MIT */
#include "bytes.h"

#include "utf8.h"

namespace sim
{

void append_u8(std::string &bytes, uint8_t value)
{
    bytes.push_back(static_cast<char>(value));
}

void append_u16(std::string &bytes, uint16_t value)
{
    append_u8(bytes, static_cast<uint8_t>(value & 0xFF));
    append_u8(bytes, static_cast<uint8_t>(value >> 8));
}

void append_u32(std::string &bytes, uint32_t value)
{
    append_u16(bytes, static_cast<uint16_t>(value & 0xFFFF));
    append_u16(bytes, static_cast<uint16_t>(value >> 16));
}

void append_field(std::string &bytes, const std::string &text, size_t size)
{
    const std::string kept = tools::cut_text(text, size - 1);
    bytes += kept;
    bytes.append(size - kept.size(), '\0');
}

} // namespace sim
