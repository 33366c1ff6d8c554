/* SPDX-License-Identifier: MIT */
#include "local_time.h"

#include <ctime>
#include <limits>

namespace tools
{

std::string day_and_time(uint64_t seconds)
{
    const bool fits = seconds <= static_cast<uint64_t>(std::numeric_limits<time_t>::max());
    const time_t moment = fits ? static_cast<time_t>(seconds) : 0;
    tm parts = {};
    char text[64];
    if (!fits || localtime_r(&moment, &parts) == nullptr ||
        strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts) == 0) {
        return "@" + std::to_string(seconds);
    }
    return text;
}

std::string time_of_day(uint64_t seconds)
{
    const std::string whole = day_and_time(seconds);
    return whole[0] == '@' ? whole : whole.substr(whole.find(' ') + 1);
}

} // namespace tools
