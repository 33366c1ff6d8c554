/* SPDX-License-Identifier: MIT */
#include "table.h"

#include <gtest/gtest.h>

namespace
{

TEST(CtlTable, HasAsMuchRoomAsItsWidestCell)
{
    const ctl::Table table = {
        {{"NO", true}, {"NAME"}, {"GROUP"}}, {{"1", "News", "a"}, {"123", "b", ""}}, {}};
    EXPECT_EQ(ctl::table_text(table), " NO  NAME  GROUP\n"
                                      "  1  News  a\n"
                                      "123  b\n");
}

TEST(CtlTable, MayHaveNoRows)
{
    EXPECT_EQ(ctl::table_text({{{"NO", true}, {"NAME"}}, {}, {}}), "NO  NAME\n");
    EXPECT_EQ(ctl::table_text({}), "\n");
}

TEST(CtlTable, HasNotesBelowItsRows)
{
    EXPECT_EQ(ctl::table_text({{{"A"}}, {{"1"}, {"2"}, {"3"}}, {"first", ""}}), "A\n"
                                                                                "1\n"
                                                                                "    first\n"
                                                                                "2\n"
                                                                                "3\n");
}

TEST(CtlTable, LinesUpByWhatIsSeen)
{
    const ctl::Table table = {
        {{"A"}, {"B"}}, {{"Café", "1"}, {"Cafe\u0301", "2"}, {"日本", "3"}, {"abcd", "4"}}, {}};
    EXPECT_EQ(ctl::table_text(table), "A     B\n"
                                      "Café  1\n"
                                      "Cafe\u0301  2\n"
                                      "日本  3\n"
                                      "abcd  4\n");
}

TEST(CtlTable, KnowsHowWideATextIs)
{
    const struct {
        const char *text;
        size_t width;
    } cases[] = {{"", 0},   {"a b", 3}, {"ß", 1},      {"€", 1},        {"한국", 4},
                 {"ｗ", 2}, {"🎬", 2},   {"𠀀", 2},     {"e\u0301x", 2}, {"\u200B", 0},
                 {"ก็", 1},  {"…—", 2},  {"\u3099", 0}, {"a\uFE0F", 1}};
    for (const auto &one : cases) {
        EXPECT_EQ(ctl::display_width(one.text), one.width) << one.text;
    }
}

} // namespace
