/* SPDX-License-Identifier: MIT */
/* Texts in UTF-8: where their characters end, and comparisons without regard to case. */
#ifndef TVLINK_TOOLS_UTF8_H
#define TVLINK_TOOLS_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tools
{

/* The length in bytes of the well-formed character at `at`; 0 when there is none. */
size_t character_length(std::string_view text, size_t at);

/* The offset of the first byte that belongs to no well-formed character; npos when all do. */
size_t find_malformed(std::string_view text);

/* At most `max` bytes of the text, cut only where a character ends. */
std::string cut_text(std::string_view text, size_t max);

/* The code point of the character at `at`, which is well-formed and `length` bytes long. */
uint32_t code_point(std::string_view text, size_t at, size_t length);

/* Whether the text contains the part; the case of the letters A to Z is ignored. */
bool holds(std::string_view text, std::string_view part);
bool equal_words(std::string_view a, std::string_view b);

} // namespace tools

#endif
