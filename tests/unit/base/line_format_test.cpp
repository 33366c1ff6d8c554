/* SPDX-License-Identifier: MIT */
#include "base/line_format.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using Formatter = size_t(char *, size_t, const char *, va_list);

__attribute__((format(printf, 3, 0))) size_t by_the_system(char *to, size_t room,
                                                           const char *format, va_list values)
{
    return static_cast<size_t>(vsnprintf(to, room, format, values));
}

__attribute__((format(printf, 3, 4))) std::string formatted(Formatter *formatter, size_t room,
                                                            const char *format, ...)
{
    std::vector<char> to(room + 1, '#');
    va_list values;
    va_start(values, format);
    errno = ENOENT;
    const size_t length = formatter(to.data(), room, format, values);
    va_end(values);
    return std::to_string(length) + " " + std::string(to.begin(), to.end());
}

/* Both give the same length and the same bytes, whatever the room. */
#define EXPECT_THE_SYSTEMS(...)                                                                    \
    for (const size_t room : {0u, 1u, 2u, 5u, 11u, 12u, 13u, 100u}) {                              \
        EXPECT_EQ(formatted(line_format, room, __VA_ARGS__),                                       \
                  formatted(by_the_system, room, __VA_ARGS__))                                     \
            << room;                                                                               \
    }

TEST(LineFormat, IsThatOfTheSystemForWhatLinesConsistOf)
{
    EXPECT_THE_SYSTEMS("nothing to put in");
    EXPECT_THE_SYSTEMS("%s", "");
    EXPECT_THE_SYSTEMS("%s %d,ack =%d\n", "tcp_sendbackall", 140, 3);
    EXPECT_THE_SYSTEMS("zqt fd:%d num:%d ip:%x\n", 7, 0, 0x70200c0u);
    EXPECT_THE_SYSTEMS("%s%s%s", "one", "", "two");
    for (const int value : {0, 1, -1, 9, 10, -10, 4711, INT_MAX, INT_MIN, INT_MIN + 1}) {
        EXPECT_THE_SYSTEMS("%d|%x", value, static_cast<unsigned>(value));
    }
}

TEST(LineFormat, IsThatOfTheSystemForEverythingElse)
{
    EXPECT_THE_SYSTEMS("%s: %m\n", "recv");
    EXPECT_THE_SYSTEMS("100%% of %d", 5);
    EXPECT_THE_SYSTEMS("%d %5d %-5d| %05x %u %c %ld", 1, 2, 3, 4u, 5u, 'c', 6L);
    EXPECT_THE_SYSTEMS("%.3s %s", "abcdef", "rest");
}

TEST(LineFormat, ShowsAMissingTextAsTheSystemDoes)
{
    const char *volatile none = nullptr;
    EXPECT_THE_SYSTEMS("<%s>", none);
}

} // namespace
