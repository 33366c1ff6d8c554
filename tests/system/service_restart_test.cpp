/* What one run of the service leaves to the next one. */
#include "support/datagrams.h"
#include "support/own_network.h"
#include "support/running_service.h"
#include "tvlink.h"

#include <gtest/gtest.h>

namespace
{

/* magic, length 12, no address, port 8801, device type */
std::string announcement(const std::string &device_type)
{
    return "A5 A5 0C 00 00 00 00 00 61 22 " + device_type;
}

void ignore_line(int, const char *, void *)
{
}

TEST(ServiceRestart, OnlyTheRunThatGoesOnIsAnnounced)
{
    ipp_set_log_sink(ignore_line, nullptr);
    const auto body = [] {
        const Descriptor phone = datagram_socket(9988);
        ASSERT_TRUE(join_group(phone.get(), "239.201.202.203", "127.0.0.1"));
        {
            const RunningService first(0x0101);
            EXPECT_EQ(received(phone.get()), announcement("01 01"));
        }
        const RunningService second(0x0202);
        for (int i = 0; i < 3; i++) { /* meanwhile the first run's pause comes to its end */
            EXPECT_EQ(received(phone.get()), announcement("02 02"));
        }
    };
    if (!in_own_network({"ip link set lo up", "ip route add 224.0.0.0/4 dev lo"}, body)) {
        GTEST_SKIP() << "this system allows no network of one's own";
    }
    ipp_set_log_sink(nullptr, nullptr);
}

} // namespace
