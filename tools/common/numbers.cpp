/* SPDX-License-Identifier: MIT */
#include "numbers.h"

#include <charconv>

namespace tools
{

namespace
{

template <typename Number> std::optional<Number> parsed(std::string_view text, int base = 10)
{
    Number number = 0;
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && at == end ? std::optional<Number>(number) : std::nullopt;
}

} // namespace

std::optional<uint32_t> decimal(std::string_view text, uint32_t max)
{
    const std::optional<uint32_t> number = parsed<uint32_t>(text);
    return number && *number <= max ? number : std::nullopt;
}

std::optional<uint32_t> decimal_or_hexadecimal(std::string_view text, uint32_t max)
{
    const std::string_view prefix = text.substr(0, 2);
    if (prefix != "0x" && prefix != "0X") {
        return decimal(text, max);
    }
    const std::optional<uint32_t> number = parsed<uint32_t>(text.substr(2), 16);
    return number && *number <= max ? number : std::nullopt;
}

std::optional<int64_t> signed_decimal(std::string_view text)
{
    return parsed<int64_t>(text);
}

std::string signed_number(int64_t number)
{
    return (number < 0 ? "" : "+") + std::to_string(number);
}

} // namespace tools
