/* Numbers as texts. */
#ifndef TVLINK_SIM_NUMBERS_H
#define TVLINK_SIM_NUMBERS_H

#include <cstdint>
#include <optional>
#include <string>

namespace sim
{

/* A number of decimal digits alone, at most so large; nothing for every other text. */
std::optional<uint32_t> decimal(const std::string &text, uint32_t most);

/* With a sign, and digits alone behind it; nothing when it does not fit. */
std::optional<int64_t> signed_decimal(const std::string &text);

/* "+5", "-3". */
std::string signed_number(int64_t number);

} // namespace sim

#endif
