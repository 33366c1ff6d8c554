/* SPDX-License-Identifier: MIT */
/* Numbers as texts. */
#ifndef TVLINK_TOOLS_NUMBERS_H
#define TVLINK_TOOLS_NUMBERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tools
{

/* The number that the text is, up to `max`. Digits alone: a text with blanks, signs or anything
 * else is none. */
std::optional<uint32_t> decimal(std::string_view text, uint32_t max);

/* The same; behind 0x the digits are hexadecimal. */
std::optional<uint32_t> decimal_or_hexadecimal(std::string_view text, uint32_t max);

/* The same, up to what fits; a minus sign may stand before the digits. */
std::optional<int64_t> signed_decimal(std::string_view text);

/* "+5", "-3" */
std::string signed_number(int64_t number);

} // namespace tools

#endif
