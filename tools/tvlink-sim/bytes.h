/* SPDX-License-Identifier: MIT */
/* Appends fields in wire format: integers little-endian, texts in UTF-8. */
#ifndef TVLINK_SIM_BYTES_H
#define TVLINK_SIM_BYTES_H

#include <cstdint>
#include <string>

namespace sim
{

void append_u8(std::string &bytes, uint8_t value);
void append_u16(std::string &bytes, uint16_t value);
void append_u32(std::string &bytes, uint32_t value);

/* A field of `size` bytes: the text, truncated at a character boundary if necessary, then at least
 * one zero. */
void append_field(std::string &bytes, const std::string &text, size_t size);

} // namespace sim

#endif
