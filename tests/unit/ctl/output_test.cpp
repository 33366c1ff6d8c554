/* SPDX-License-Identifier: MIT */
#include "output.h"

#include <gtest/gtest.h>

namespace
{

TEST(CtlOutput, HasATextThatIsNotUtf8InHexadecimalToo)
{
    ctl::Facts facts;
    ctl::add_text(facts, "name", ctl::bytes_of("\u00FC"));
    ctl::add_text(facts, "text", ctl::bytes_of("a\xFF"));
    const ctl::Facts expected = {{"name", std::string("\u00FC")},
                                 {"text", std::string("a\xFF")},
                                 {"text_hex", std::string("61ff")}};
    EXPECT_EQ(facts, expected);
}

} // namespace
