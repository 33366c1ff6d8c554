#include "key_names.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(KeyNames, AreFoundByNameAndByCode)
{
    EXPECT_EQ(find_key("volume-up"), 115u);
    EXPECT_EQ(find_key("1"), 2u);
    EXPECT_EQ(find_key("OK"), std::nullopt);
    EXPECT_EQ(key_name(115), "volume-up");
    EXPECT_EQ(key_name(2), "1");
    EXPECT_EQ(key_name(0), "unknown");
}

TEST(KeyNames, ContainNoNameAndNoCodeTwice)
{
    for (const KeyName &one : key_names) {
        EXPECT_EQ(find_key(one.name), one.code);
        EXPECT_EQ(key_name(one.code), one.name);
    }
}

} // namespace
