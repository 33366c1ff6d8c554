/* SPDX-License-Identifier: MIT */
#include "numbers.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(Numbers, HaveDigitsAlone)
{
    EXPECT_EQ(decimal("007", 7), 7u);
    EXPECT_EQ(decimal_or_hexadecimal("0XfF", 255), 255u);
    for (const char *text : {"", "-1", "+1", " 1", "1 ", "12a", "256", "0x", "0x100", "0x-1",
                             "0x 1", "0x0x1", "99999999999999999999999"}) {
        EXPECT_EQ(decimal(text, 255), std::nullopt) << text;
        EXPECT_EQ(decimal_or_hexadecimal(text, 255), std::nullopt) << text;
    }
    EXPECT_EQ(decimal("0x1", 255), std::nullopt);
}

TEST(Numbers, MayHaveASign)
{
    EXPECT_EQ(signed_decimal("-9223372036854775808"), INT64_MIN);
    for (const char *text : {"", "-", "+1", "--1", "0x1", "9223372036854775808"}) {
        EXPECT_EQ(signed_decimal(text), std::nullopt) << text;
    }
    EXPECT_EQ(signed_number(0), "+0");
    EXPECT_EQ(signed_number(-3), "-3");
}

} // namespace
