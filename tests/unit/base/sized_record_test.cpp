/* SPDX-License-Identifier: MIT */
/* Records of hosts that know less or more than the library. */
#include "base/sized_record.h"

#include "support/wire.h"

#include <gtest/gtest.h>

namespace
{

std::string taken(const Bytes &from)
{
    Bytes to = bytes("EE EE EE EE");
    const bool good = sized_record_take(to.data(), to.size(), from.data(), from.size());
    return (good ? "taken " : "refused ") + hex(to);
}

std::string given(size_t size)
{
    const Bytes from = bytes("01 02 03 04");
    Bytes to = bytes("EE EE EE EE EE EE");
    sized_record_give(to.data(), size, from.data(), from.size());
    return hex(to);
}

TEST(SizedRecord, IsTakenAsFarAsBothKnowIt)
{
    EXPECT_EQ(taken(bytes("01 02 03 04")), "taken 01 02 03 04");
    EXPECT_EQ(taken(bytes("01 02")), "taken 01 02 00 00");
    EXPECT_EQ(taken({}), "taken 00 00 00 00");
    EXPECT_EQ(taken(bytes("01 02 03 04 00 00")), "taken 01 02 03 04");
}

TEST(SizedRecord, IsRefusedWhenTheHostAsksForMore)
{
    EXPECT_EQ(taken(bytes("01 02 03 04 05")), "refused EE EE EE EE");
    EXPECT_EQ(taken(bytes("01 02 03 04 00 00 01")), "refused EE EE EE EE");
}

TEST(SizedRecord, IsGivenAsFarAsBothKnowIt)
{
    EXPECT_EQ(given(4), "01 02 03 04 EE EE");
    EXPECT_EQ(given(2), "01 02 EE EE EE EE");
    EXPECT_EQ(given(6), "01 02 03 04 00 00");
    EXPECT_EQ(given(0), "EE EE EE EE EE EE");
}

} // namespace
