/* SPDX-License-Identifier: MIT */
#include "calendar.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "numbers.h"
#include "utf8.h"

namespace sim
{

namespace
{

struct Date {
    int64_t year;
    uint32_t month;
    uint32_t day;
};

/* Days since the epoch of a date of the Gregorian calendar. A year is taken to begin in March, so
 * that the leap day is its last. */
int64_t days_since_epoch(const Date &date)
{
    constexpr int64_t days_in_400_years = 146097;
    constexpr int64_t days_before_epoch = 719468; /* since March 1st of the year 0 */
    const int64_t year = date.month <= 2 ? date.year - 1 : date.year;
    const int64_t cycle = year / 400;
    const int64_t year_of_cycle = year % 400;
    const int64_t month = (int64_t{date.month} + 9) % 12;
    const int64_t day_of_year = (153 * month + 2) / 5 + date.day - 1;
    const int64_t day_of_cycle =
        year_of_cycle * 365 + year_of_cycle / 4 - year_of_cycle / 100 + day_of_year;
    return cycle * days_in_400_years + day_of_cycle - days_before_epoch;
}

uint32_t days_in_month(const Date &date)
{
    const Date next =
        date.month == 12 ? Date{date.year + 1, 1, 1} : Date{date.year, date.month + 1, 1};
    return static_cast<uint32_t>(days_since_epoch(next) -
                                 days_since_epoch({date.year, date.month, 1}));
}

/* Reads `count` digits at `at` as a number up to `max`, and advances `at`. */
std::optional<uint32_t> digits(const std::string &text, size_t &at, size_t count, uint32_t max)
{
    if (text.size() - at < count) {
        return std::nullopt;
    }
    const std::optional<uint32_t> number = tools::decimal(text.substr(at, count), max);
    at += count;
    return number;
}

/* Names of zones, and their minutes east of UTC. */
struct Zone {
    const char *name;
    int32_t minutes;
};

const Zone zones[] = {
    {"", 0},       {"Z", 0},      {"UTC", 0},    {"UT", 0},      {"GMT", 0},     {"WET", 0},
    {"BST", 60},   {"IST", 60},   {"WEST", 60},  {"CET", 60},    {"MET", 60},    {"CEST", 120},
    {"MEST", 120}, {"EET", 120},  {"SAST", 120}, {"EEST", 180},  {"MSK", 180},   {"AST", -240},
    {"ADT", -180}, {"EST", -300}, {"EDT", -240}, {"CST", -360},  {"CDT", -300},  {"MST", -420},
    {"MDT", -360}, {"PST", -480}, {"PDT", -420}, {"AKST", -540}, {"AKDT", -480}, {"HST", -600},
    {"AWST", 480}, {"ACST", 570}, {"ACDT", 630}, {"AEST", 600},  {"AEDT", 660},  {"JST", 540},
    {"KST", 540},  {"NZST", 720}, {"NZDT", 780},
};

std::optional<int64_t> zone_seconds(const std::string &name)
{
    const auto found = std::find_if(std::begin(zones), std::end(zones), [&](const Zone &zone) {
        return tools::equal_words(zone.name, name);
    });
    return found == std::end(zones) ? std::nullopt
                                    : std::optional<int64_t>(int64_t{found->minutes} * 60);
}

/* An offset such as "+0100" or "+01:00", or the name of a zone, in seconds east of UTC. */
std::optional<int64_t> offset_seconds(const std::string &text)
{
    if (text.empty() || (text[0] != '+' && text[0] != '-')) {
        return zone_seconds(text);
    }
    const bool colon = text.size() == 6 && text[3] == ':';
    if (text.size() != 5 && !colon) {
        return std::nullopt;
    }
    size_t at = 1;
    const std::optional<uint32_t> hours = digits(text, at, 2, 14);
    at += colon ? 1 : 0;
    const std::optional<uint32_t> minutes = digits(text, at, 2, 59);
    if (!hours || !minutes) {
        return std::nullopt;
    }
    const int64_t seconds = int64_t{*hours} * 3600 + int64_t{*minutes} * 60;
    return text[0] == '-' ? -seconds : seconds;
}

std::optional<int64_t> day_of(const std::string &text, size_t &at)
{
    const std::optional<uint32_t> year = digits(text, at, 4, 9999);
    const std::optional<uint32_t> month = year ? digits(text, at, 2, 12) : std::nullopt;
    const std::optional<uint32_t> day = month ? digits(text, at, 2, 31) : std::nullopt;
    if (!day || *year < 1970 || *month == 0 || *day == 0) {
        return std::nullopt;
    }
    const Date date{*year, *month, *day};
    return *day <= days_in_month(date) ? std::optional<int64_t>(days_since_epoch(date))
                                       : std::nullopt;
}

bool is_digit(const std::string &text, size_t at)
{
    return at < text.size() && text[at] >= '0' && text[at] <= '9';
}

/* The second is optional; 60 is a leap second. */
std::optional<int64_t> second_of_day(const std::string &text, size_t &at)
{
    const std::optional<uint32_t> hour = digits(text, at, 2, 23);
    const std::optional<uint32_t> minute = hour ? digits(text, at, 2, 59) : std::nullopt;
    if (!minute) {
        return std::nullopt;
    }
    const std::optional<uint32_t> second = is_digit(text, at) ? digits(text, at, 2, 60) : 0;
    return second ? std::optional<int64_t>(int64_t{*hour} * 3600 + int64_t{*minute} * 60 + *second)
                  : std::nullopt;
}

} // namespace

std::optional<int64_t> guide_time(const std::string &text)
{
    size_t at = 0;
    const std::optional<int64_t> day = day_of(text, at);
    const std::optional<int64_t> second = day ? second_of_day(text, at) : std::nullopt;
    if (!second) {
        return std::nullopt;
    }
    while (at < text.size() && text[at] == ' ') {
        at++;
    }
    const std::optional<int64_t> offset = offset_seconds(text.substr(at));
    return offset ? std::optional<int64_t>(*day * 86400 + *second - *offset) : std::nullopt;
}

} // namespace sim
