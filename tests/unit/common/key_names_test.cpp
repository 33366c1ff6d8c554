/* SPDX-License-Identifier: MIT */
#include "key_names.h"

#include <gtest/gtest.h>

using namespace tools;

namespace
{

TEST(KeyNames, ContainNoNameAndNoCodeTwice)
{
    for (const KeyName &key : key_names) {
        EXPECT_EQ(find_key(key.name), key.code);
        EXPECT_EQ(key_name(key.code), key.name);
    }
    EXPECT_EQ(find_key("OK"), std::nullopt);
    EXPECT_EQ(key_name(0), "unknown");
}

} // namespace
