/* Writing the fields of what is sent: integers little-endian, texts in UTF-8. */
#ifndef TVLINK_SIM_BYTES_H
#define TVLINK_SIM_BYTES_H

#include <cstdint>
#include <string>

namespace sim
{

void append_u8(std::string &bytes, uint8_t value);
void append_u16(std::string &bytes, uint16_t value);
void append_u32(std::string &bytes, uint32_t value);

/* The text in a field of this size, zero-filled, with at least one zero. */
void append_field(std::string &bytes, const std::string &text, size_t size);

/* A 2-byte length, then at most so many bytes of the text. */
void append_text(std::string &bytes, const std::string &text, size_t most);

} // namespace sim

#endif
