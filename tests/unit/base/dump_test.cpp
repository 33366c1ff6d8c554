/* SPDX-License-Identifier: MIT */
#include "tvlink/dump.h"

#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>

namespace
{

using Lines = std::vector<std::string>;

const uint8_t SOME[] = {0x00, 0x7F, 0x80, 0xFF, 0x0A};

class Dump : public testing::Test
{
protected:
    void TearDown() override
    {
        ipp_set_log_dumps(0);
    }
};

TEST_F(Dump, PrintsNothingByDefaultWhateverItsInput)
{
    const CapturedStreams streams;
    {
        const CapturedLines lines;
        for (const int length : {INT_MIN, -1, 0, 1, 5}) {
            LOGBuffer(SOME, length, "name");
            LOGBuffer(SOME, length, nullptr);
            LOGBuffer(nullptr, length, "name");
        }
        EXPECT_EQ(lines.all().size(), 0u);
    }
    LOGBuffer(SOME, sizeof SOME, "name");
    EXPECT_EQ(streams.out() + streams.err(), "");
}

TEST_F(Dump, LooksAtNoByteUnlessItIsAsked)
{
    WatchedCall memory(system_malloc);
    LOGBuffer(reinterpret_cast<const void *>(1), INT_MAX, "name");
    EXPECT_EQ(memory.calls(), 0);
}

TEST_F(Dump, IsOneLineWhenTheHostWantsDumps)
{
    const CapturedLines lines;
    ipp_set_log_dumps(1);
    LOGBuffer(SOME, sizeof SOME, "get_tv_order");
    LOGBuffer(SOME, 1, "short");
    EXPECT_EQ(lines.out(), (Lines{"get_tv_order: 0x00 0x7f 0x80 0xff 0x0a \n", "short: 0x00 \n"}));
    EXPECT_EQ(lines.err(), Lines());
    ipp_set_log_dumps(0);
    LOGBuffer(SOME, sizeof SOME, "get_tv_order");
    EXPECT_EQ(lines.out().size(), 2u);
}

TEST_F(Dump, GoesToStandardOutputByDefault)
{
    const CapturedStreams streams;
    ipp_set_log_dumps(1);
    LOGBuffer(SOME, 2, "name");
    EXPECT_EQ(streams.out(), "name: 0x00 0x7f \n");
    EXPECT_EQ(streams.err(), "");
}

TEST_F(Dump, OfNothingIsALineWithoutBytes)
{
    const CapturedLines lines;
    ipp_set_log_dumps(1);
    LOGBuffer(SOME, 0, "name");
    EXPECT_EQ(lines.out(), Lines{"name: \n"});
}

TEST_F(Dump, IsNotTakenOfWhatIsNotThere)
{
    const CapturedLines lines;
    ipp_set_log_dumps(1);
    LOGBuffer(nullptr, 5, "name");
    LOGBuffer(nullptr, 0, "name");
    LOGBuffer(SOME, -1, "name");
    LOGBuffer(SOME, INT_MIN, "name");
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST_F(Dump, IsLeftOutWhenMemoryIsOut)
{
    const CapturedLines lines;
    ipp_set_log_dumps(1);
    WatchedCall memory(system_malloc);
    memory.fail(ENOMEM);
    LOGBuffer(SOME, 5, "name");
    EXPECT_EQ(lines.all().size(), 0u);
    EXPECT_EQ(memory.calls(), 1);
}

TEST_F(Dump, IsLeftOutWhenItsTextFitsNoMemory)
{
    if (sizeof(size_t) > 4) {
        GTEST_SKIP() << "every length fits";
    }
    const CapturedLines lines;
    ipp_set_log_dumps(1);
    WatchedCall memory(system_malloc);
    LOGBuffer(SOME, 858993460, "name"); /* five times as much is 4 when 32 bits count it */
    LOGBuffer(SOME, INT_MAX, "name");
    EXPECT_EQ(memory.calls(), 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

} // namespace
