/* SPDX-License-Identifier: MIT */
#include "utf8.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(Utf8, CutsOnlyWhereACharacterEnds)
{
    const std::string text = "a\xC3\xA9\xF0\x9F\x93\xBA"; /* 1, 2 and 4 bytes */
    EXPECT_EQ(cut_text(text, 0), "");
    EXPECT_EQ(cut_text(text, 1), "a");
    EXPECT_EQ(cut_text(text, 2), "a");
    EXPECT_EQ(cut_text(text, 3), "a\xC3\xA9");
    for (size_t most = 4; most < 7; most++) {
        EXPECT_EQ(cut_text(text, most), "a\xC3\xA9");
    }
    EXPECT_EQ(cut_text(text, 7), text);
    EXPECT_EQ(cut_text(text, 8), text);
}

TEST(Utf8, CutsWhatIsNoTextToNothingRatherThanTooLong)
{
    EXPECT_EQ(cut_text("\x80\x80\x80\x80", 2), "");
}

TEST(Utf8, FindsTheFirstByteThatBelongsToNoCharacter)
{
    EXPECT_EQ(find_malformed(""), std::string::npos);
    EXPECT_EQ(find_malformed("a\xC3\xA9z"), std::string::npos);
    EXPECT_EQ(find_malformed("ab\xC3"), 2u);
    EXPECT_EQ(find_malformed("\xE2\x82z"), 0u);
    EXPECT_EQ(find_malformed("a\xED\xA0\x80"), 1u);
    EXPECT_EQ(find_malformed("\xF4\x8F\xBF\xBF"), std::string::npos);
    EXPECT_EQ(find_malformed("\xF4\x90\x80\x80"), 0u);
    EXPECT_EQ(find_malformed("\xF0\x8F\xBF\xBF"), 0u);
}

TEST(Utf8, TellsTheNumberOfACharacter)
{
    EXPECT_EQ(code_point("A", 0, 1), 0x41u);
    EXPECT_EQ(code_point("a\xC3\xA9", 1, 2), 0xE9u);
    EXPECT_EQ(code_point("\xE2\x82\xAC", 0, 3), 0x20ACu);
    EXPECT_EQ(code_point("\xF0\x9F\x93\xBA", 0, 4), 0x1F4FAu);
}

TEST(Utf8, SearchesWithoutRegardToTheCaseOfAsciiLetters)
{
    EXPECT_TRUE(holds("The Lighthouse Keeper", "LIGHT"));
    EXPECT_TRUE(holds("The Lighthouse Keeper", "keeper"));
    EXPECT_FALSE(holds("The Lighthouse Keeper", "keepers"));
    EXPECT_FALSE(holds("CAF\xC3\x89", "caf\xC3\xA9"));
    EXPECT_TRUE(holds("", ""));
    EXPECT_FALSE(holds("", "a"));
    EXPECT_TRUE(equal_words("Play", "pLAY"));
    EXPECT_FALSE(equal_words("Play", "Plays"));
}

} // namespace
