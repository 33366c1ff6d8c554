/* SPDX-License-Identifier: MIT */
/* The counters, as a host reads them. */
#include "base/clock.h"
#include "support/captured_lines.h"
#include "support/recording_host.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"

#include <cstring>
#include <functional>

#include <gtest/gtest.h>

namespace
{

const Bytes GOOD_REQUEST = wire_frame(7, bytes("01 01 02 03"));

IppStats stats_now()
{
    IppStats stats;
    EXPECT_EQ(ipp_stats(&stats, sizeof stats), 0);
    return stats;
}

/* Since it began: the counters are the process's. */
class Stats : public testing::Test
{
protected:
    Stats()
    {
        IppGuard guard = {};
        guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
        EXPECT_EQ(ipp_set_guard(&guard), 0);
    }

    ~Stats() override
    {
        ipp_set_guard(nullptr);
    }

    uint32_t grown(uint32_t IppStats::*counter) const
    {
        return stats_now().*counter - before.*counter;
    }

    bool wait_for(uint32_t IppStats::*counter, uint32_t by) const
    {
        return wait_until([&] { return grown(counter) >= by; });
    }

    CapturedLines lines;
    const IppStats before = stats_now();
};

TEST_F(Stats, CountConnections)
{
    const TcpService service;
    {
        const Phone first;
        const Phone second;
        ASSERT_TRUE(wait_for(&IppStats::connections_ever, 2));
        EXPECT_EQ(grown(&IppStats::connections), 2u);
        EXPECT_EQ(grown(&IppStats::connections_refused), 0u);
    }
    EXPECT_TRUE(wait_until([&] { return grown(&IppStats::connections) == 0; }));
    IppGuard guard = {};
    guard.admit = [](uint32_t, void *) { return 0; };
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const Phone stranger;
    EXPECT_TRUE(wait_for(&IppStats::connections_refused, 1));
    EXPECT_EQ(grown(&IppStats::connections_ever), 2u);
}

TEST_F(Stats, CountRequestsByWhatBecameOfThem)
{
    RecordingHost host;
    const TcpService service;
    const Phone phone;
    phone.send(GOOD_REQUEST);
    phone.send(wire_frame(7, bytes("01 01 06 03"))); /* a wrong tag */
    phone.send(wire_frame(5, bytes("01 99 09")));    /* no such code */
    phone.send(wire_frame(5, bytes("01 98 09")));
    Bytes bad = GOOD_REQUEST;
    bad[0] = 0;
    phone.send(bad);
    phone.send(GOOD_REQUEST);
    ASSERT_TRUE(wait_for(&IppStats::requests_done, 2));
    EXPECT_EQ(grown(&IppStats::requests), 5u);
    EXPECT_EQ(grown(&IppStats::requests_done), 2u);
    EXPECT_EQ(grown(&IppStats::requests_failed), 1u);
    EXPECT_EQ(grown(&IppStats::requests_silent), 2u);
    EXPECT_EQ(grown(&IppStats::requests_dropped), 0u);
    EXPECT_EQ(grown(&IppStats::bad_frames), 1u);
    EXPECT_EQ(stats_now().bytes_received - before.bytes_received, 3u * 76 + 76 + 2u * 75);
    EXPECT_EQ(stats_now().bytes_sent - before.bytes_sent, 3u * 75);
}

TEST_F(Stats, CountEvents)
{
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, nullptr, nullptr, nullptr, 0), 0);
    EXPECT_EQ(grown(&IppStats::events), 2u);
}

TEST_F(Stats, KeepTheLongestSlotAndItsCode)
{
    RecordingHost host;
    const uint32_t longer_us = stats_now().slot_longest_us + 1;
    host.in_slots([=] {
        const uint64_t begin_us = clock_elapsed_us();
        wait_until([=] { return clock_elapsed_us() >= begin_us + longer_us; });
    });
    const TcpService service;
    const Phone phone;
    phone.send(GOOD_REQUEST);
    (void)phone.read_frame();
    ASSERT_TRUE(wait_for(&IppStats::requests_done, 1));
    EXPECT_GE(stats_now().slot_longest_us, longer_us);
    EXPECT_EQ(stats_now().slot_longest_code, 0x0101u);
}

TEST_F(Stats, FitAHostOfAnyVersion)
{
    EXPECT_EQ(ipp_stats(nullptr, sizeof(IppStats)), -1);
    struct Newer {
        IppStats known;
        uint64_t unknown;
    } newer;
    std::memset(&newer, 0xEE, sizeof newer);
    EXPECT_EQ(ipp_stats(&newer.known, sizeof newer), 0);
    EXPECT_EQ(newer.unknown, 0u);
    IppStats older;
    std::memset(&older, 0xEE, sizeof older);
    EXPECT_EQ(ipp_stats(&older, offsetof(IppStats, requests)), 0);
    EXPECT_EQ(older.connections_ever, before.connections_ever);
    EXPECT_EQ(older.requests, 0xEEEEEEEEu);
}

} // namespace
