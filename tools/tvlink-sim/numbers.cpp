#include "numbers.h"

#include <charconv>

namespace sim
{

namespace
{

template <typename Number> std::optional<Number> parsed(const std::string &text)
{
    Number number = 0;
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && at == end ? std::optional<Number>(number) : std::nullopt;
}

} // namespace

std::optional<uint32_t> decimal(const std::string &text, uint32_t most)
{
    const std::optional<uint32_t> number = parsed<uint32_t>(text);
    return number && *number <= most ? number : std::nullopt;
}

std::optional<int64_t> signed_decimal(const std::string &text)
{
    return parsed<int64_t>(text);
}

std::string signed_number(int64_t number)
{
    return (number < 0 ? "" : "+") + std::to_string(number);
}

} // namespace sim
