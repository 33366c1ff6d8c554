/* Texts in UTF-8: where their characters end. */
#ifndef TVLINK_SIM_UTF8_H
#define TVLINK_SIM_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace sim
{

/* The length in bytes of the well-formed character at this place; 0 when there is none. */
size_t character_length(const std::string &text, size_t at);

/* The place of the first byte that belongs to no well-formed character; npos when all do. */
size_t find_malformed(const std::string &text);

/* At most so many bytes of the text, cut only where a character ends. */
std::string cut_text(const std::string &text, size_t most);

/* The number of the character at this place, which is well-formed and so many bytes long. */
uint32_t code_point(const std::string &text, size_t at, size_t length);

/* Whether the part occurs in the text; the letters A to Z are the same in both cases. */
bool holds(const std::string &text, const std::string &part);
bool equal_words(const std::string &a, const std::string &b);

} // namespace sim

#endif
