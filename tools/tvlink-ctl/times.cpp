/* SPDX-License-Identifier: MIT */
#include "times.h"

#include "arguments.h"
#include "numbers.h"

#include <algorithm>
#include <cinttypes>

namespace ctl
{
namespace
{

/* Takes the number in front of the separator or of the end, such as "20" of "20:15", and moves `at`
 * behind the separator. */
std::optional<uint32_t> take_number(const std::string &text, size_t *at, char separator,
                                    uint32_t max)
{
    const size_t end = std::min(text.find(separator, *at), text.size());
    const std::string digits = text.substr(*at, end - *at);
    *at = std::min(end + 1, text.size());
    return tools::decimal(digits, max);
}

/* Fills hours and minutes from "20:15". */
bool read_clock(const std::string &text, tm *parts)
{
    size_t at = 0;
    const std::optional<uint32_t> hour = take_number(text, &at, ':', 23);
    const std::optional<uint32_t> minute = take_number(text, &at, ':', 59);
    if (!hour || !minute || at != text.size() || text.back() == ':') {
        return false;
    }
    parts->tm_hour = static_cast<int>(*hour);
    parts->tm_min = static_cast<int>(*minute);
    return true;
}

/* Fills the day from "2026-11-21". */
bool read_day(const std::string &text, tm *parts)
{
    size_t at = 0;
    const std::optional<uint32_t> year = take_number(text, &at, '-', 2105);
    const std::optional<uint32_t> month = take_number(text, &at, '-', 12);
    const std::optional<uint32_t> day = take_number(text, &at, '-', 31);
    if (!year || !month || !day || *year < 1970 || *month == 0 || *day == 0 || at != text.size() ||
        text.back() == '-') {
        return false;
    }
    parts->tm_year = static_cast<int>(*year) - 1900;
    parts->tm_mon = static_cast<int>(*month) - 1;
    parts->tm_mday = static_cast<int>(*day);
    return true;
}

} // namespace

std::string duration_text(uint32_t seconds)
{
    char text[32];
    snprintf(text, sizeof text, "%" PRIu32 ":%02" PRIu32 ":%02" PRIu32, seconds / 3600,
             seconds / 60 % 60, seconds % 60);
    return text;
}

uint32_t parse_duration(const std::string &text)
{
    static const char hint[] = "write seconds, minutes:seconds or hours:minutes:seconds, such as "
                               "90, 1:30 or 1:02:03";
    uint64_t seconds = 0;
    size_t at = 0;
    const auto parts = std::count(text.begin(), text.end(), ':') + 1;
    for (auto i = parts; i > 0; i--) {
        const uint32_t max = i == parts ? INT32_MAX : 59;
        const std::optional<uint32_t> part = take_number(text, &at, ':', max);
        if (!part || parts > 3) {
            misunderstood(text, hint);
        }
        seconds = seconds * 60 + *part;
    }
    if (seconds > INT32_MAX) {
        misunderstood(text, hint);
    }
    return static_cast<uint32_t>(seconds);
}

uint32_t parse_time(const std::string &text, time_t now)
{
    static const char hint[] = "write now, 20:15, 2026-11-21, \"2026-11-21 20:15\" or "
                               "@ and the seconds since 1970";
    if (!text.empty() && text[0] == '@') {
        return parse_number(text.substr(1), UINT32_MAX);
    }
    if (text == "now") {
        return static_cast<uint32_t>(now);
    }
    tm parts = {};
    localtime_r(&now, &parts);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    const size_t blank = text.find_first_of(" T");
    const bool whole = blank != std::string::npos;
    const bool read = whole ? read_day(text.substr(0, blank), &parts) &&
                                  read_clock(text.substr(blank + 1), &parts)
                            : read_clock(text, &parts) || read_day(text, &parts);
    const int day = parts.tm_mday;
    const time_t moment = read ? mktime(&parts) : time_t{-1};
    if (moment < 0 || parts.tm_mday != day) { /* mktime takes February 31st for March 3rd */
        misunderstood(text, hint);
    }
    return static_cast<uint32_t>(moment);
}

} // namespace ctl
