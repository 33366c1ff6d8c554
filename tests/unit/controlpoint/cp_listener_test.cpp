/* SPDX-License-Identifier: MIT */
#include "cp_scripted_television.h"

#include "support/datagrams.h"
#include "support/own_network.h"
#include "support/wait_until.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>

namespace
{

/* Address 10.77.0.1, port 8801, device type 0x0102. */
const char *const ANNOUNCEMENT = "A5 A5 0C 00 0A 4D 00 01 61 22 02 01";

/* Two interfaces of one machine, at the two ends of a cable. */
const std::vector<std::string> two_interfaces = {
    "ip link set lo up",
    "ip link add near type veth peer name far",
    "ip addr add 10.77.0.1/24 dev near",
    "ip addr add 10.77.0.2/24 dev far",
    "ip link set near up",
    "ip link set far up",
    "ip route add 224.0.0.0/4 dev near",
};

CpListener *listen_to(const char *host = nullptr)
{
    CpListener *listener = nullptr;
    EXPECT_EQ(cp_listen(&listener, host, cp_test::patience_ms), CP_OK);
    return listener;
}

void announce(const std::string &data, const char *from = "0.0.0.0")
{
    const Descriptor fd = datagram_socket(0, from);
    EXPECT_TRUE(send_datagram(fd.get(), bytes(data), CP_ANNOUNCEMENT_GROUP, CP_ANSWER_PORT));
}

CpStatus hear(CpListener *listener, CpTelevision *television)
{
    return cp_hear(listener, television, cp_test::patience_ms);
}

TEST(ControlPointListener, HearsEachAnnouncementAndWhereItCameFrom)
{
    if (NO_GROUPS_BY_INTERFACE) {
        GTEST_SKIP() << "the emulator joins no group for an interface";
    }
    const bool ran = in_own_network(two_interfaces, [] {
        CpListener *listener = listen_to();
        announce(ANNOUNCEMENT);
        announce(ANNOUNCEMENT);
        CpTelevision television = {};
        ASSERT_EQ(hear(listener, &television), CP_OK);
        EXPECT_EQ(television.address, inet_addr("10.77.0.1"));
        EXPECT_EQ(television.source, inet_addr("10.77.0.1"));
        EXPECT_EQ(television.port, 8801);
        EXPECT_EQ(television.device_type, 0x0102);
        EXPECT_EQ(hear(listener, &television), CP_OK);
        cp_stop_listening(listener);
    });
    if (!ran) {
        GTEST_SKIP() << "this system allows no networks of one's own";
    }
}

TEST(ControlPointListener, IgnoresWhateverIsNoAnnouncementAndWhoeverIsNotTheHost)
{
    if (NO_GROUPS_BY_INTERFACE) {
        GTEST_SKIP() << "the emulator joins no group for an interface";
    }
    const bool ran = in_own_network(two_interfaces, [] {
        CpListener *listener = listen_to("10.77.0.2");
        announce(ANNOUNCEMENT, "10.77.0.1");
        announce("A5 A5 08 00 41 49 49 50", "10.77.0.2");
        announce("", "10.77.0.2");
        announce(ANNOUNCEMENT, "10.77.0.2");
        CpTelevision television = {};
        ASSERT_EQ(hear(listener, &television), CP_OK);
        EXPECT_EQ(television.source, inet_addr("10.77.0.2"));
        EXPECT_EQ(cp_hear(listener, &television, 0), CP_TIMED_OUT);
        EXPECT_EQ(television.source, 0U);
        cp_stop_listening(listener);
    });
    if (!ran) {
        GTEST_SKIP() << "this system allows no networks of one's own";
    }
}

TEST(ControlPointListener, HearsANetworkThatComesUpLater)
{
    if (NO_GROUPS_BY_INTERFACE) {
        GTEST_SKIP() << "the emulator joins no group for an interface";
    }
    const bool ran = in_own_network({"ip link set lo up"}, [] {
        CpListener *listener = listen_to();
        EXPECT_FALSE(network_has_member(CP_ANNOUNCEMENT_GROUP));
        for (const std::string &command : two_interfaces) {
            ASSERT_EQ(std::system(command.c_str()), 0) << command;
        }
        CpTelevision television = {};
        ASSERT_TRUE(wait_until([&] {
            EXPECT_EQ(cp_hear(listener, &television, 10), CP_TIMED_OUT);
            return network_has_member(CP_ANNOUNCEMENT_GROUP);
        }));
        announce(ANNOUNCEMENT);
        EXPECT_EQ(hear(listener, &television), CP_OK);
        EXPECT_EQ(television.source, inet_addr("10.77.0.1"));
        cp_stop_listening(listener);
    });
    if (!ran) {
        GTEST_SKIP() << "this system allows no networks of one's own";
    }
}

TEST(ControlPointListener, NeedsThePortAndTheHost)
{
    CpListener *listener = listen_to();
    CpListener *second = listener;
    EXPECT_EQ(cp_listen(&second, nullptr, 0), CP_SYSTEM);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(second, nullptr);
    cp_stop_listening(listener);
    EXPECT_EQ(cp_listen(&second, "256.1.1.1", 0), CP_NOT_FOUND);
    EXPECT_EQ(cp_listen(&second, nullptr, 0), CP_OK);
    EXPECT_GE(cp_listener_descriptor(second), 0);
    cp_stop_listening(second);
}

TEST(ControlPointListener, RefusesBadArguments)
{
    CpTelevision television = {};
    EXPECT_EQ(cp_listen(nullptr, nullptr, 0), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_hear(nullptr, &television, 0), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_listener_descriptor(nullptr), -1);
    cp_stop_listening(nullptr);
    CpListener *listener = listen_to();
    EXPECT_EQ(cp_hear(listener, nullptr, 0), CP_BAD_ARGUMENT);
    cp_stop_listening(listener);
}

} // namespace
