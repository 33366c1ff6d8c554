/* SPDX-License-Identifier: MIT */
#include "printable.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(Quoted, KeepsWhatATerminalCanShowAndEscapesTheRest)
{
    EXPECT_EQ(quoted(""), "\"\"");
    EXPECT_EQ(quoted("say \"a\\b\""), "\"say \\\"a\\\\b\\\"\"");
    EXPECT_EQ(quoted("Gr\xC3\xBC\xC3\x9F"
                     "e \xF0\x9F\x93\xBA"),
              "\"Gr\xC3\xBC\xC3\x9F"
              "e \xF0\x9F\x93\xBA\"");
    EXPECT_EQ(quoted("\x1b[2J\r\x7f"), "\"\\x1b[2J\\x0d\\x7f\"");
    EXPECT_EQ(quoted("\xC2\x9B"
                     "A"),
              "\"\\xc2\\x9bA\"");
    EXPECT_EQ(quoted("a\xFF\xC3"), "\"a\\xff\\xc3\"");
    EXPECT_EQ(quoted("\xE0\x80\x80"), "\"\\xe0\\x80\\x80\"");
    EXPECT_EQ(quoted("\xED\xA0\x80"), "\"\\xed\\xa0\\x80\"");
    EXPECT_EQ(quoted("\xC0\xAF"), "\"\\xc0\\xaf\"");
}

TEST(Printable, IsTheWholeTextWithoutQuotes)
{
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable("say \"a\\b\""), "say \"a\\b\"");
    EXPECT_EQ(printable(std::string("a\0b\xC2\x9B\xFF", 6)), "a\\x00b\\xc2\\x9b\\xff");
    EXPECT_EQ(printable(std::string(61, 'x')), std::string(61, 'x'));
}

TEST(Quoted, CutsLongTextsAndShowsIt)
{
    EXPECT_EQ(quoted(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
    EXPECT_EQ(quoted(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
}

} // namespace
