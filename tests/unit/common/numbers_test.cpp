#include "numbers.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(Numbers, HaveDigitsAlone)
{
    EXPECT_EQ(decimal("0", 9), 0u);
    EXPECT_EQ(decimal("007", 9), 7u);
    EXPECT_EQ(decimal("4294967295", UINT32_MAX), UINT32_MAX);
    EXPECT_EQ(decimal_or_hexadecimal("10", 255), 10u);
    EXPECT_EQ(decimal_or_hexadecimal("0x10", 255), 16u);
    EXPECT_EQ(decimal_or_hexadecimal("0XfF", 255), 255u);
    for (const char *text : {"", "-1", "+1", " 1", "1 ", "1.5", "12a", "256", "4294967296", "0x",
                             "0x100", "0x-1", "0x 1", "0x0x1", "99999999999999999999999"}) {
        EXPECT_EQ(decimal(text, 255), std::nullopt) << text;
        EXPECT_EQ(decimal_or_hexadecimal(text, 255), std::nullopt) << text;
    }
    EXPECT_EQ(decimal("0x1", 255), std::nullopt);
}

TEST(Numbers, MayHaveASign)
{
    EXPECT_EQ(signed_decimal("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(signed_decimal("9223372036854775807"), INT64_MAX);
    for (const char *text : {"", "-", "+1", "--1", "0x1", "9223372036854775808"}) {
        EXPECT_EQ(signed_decimal(text), std::nullopt) << text;
    }
    EXPECT_EQ(signed_number(5), "+5");
    EXPECT_EQ(signed_number(0), "+0");
    EXPECT_EQ(signed_number(-3), "-3");
}

} // namespace
