/* SPDX-License-Identifier: MIT */
#include "discovery/answer_packet.h"

#include "base/flags.h"
#include "support/own_network.h"
#include "support/system_calls.h"
#include "support/wire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>

namespace
{

std::string built()
{
    uint8_t packet[ANSWER_SIZE];
    memset(packet, 0xEE, sizeof packet);
    answer_packet_build(packet);
    return hex(packet, sizeof packet);
}

class AnswerPacket : public testing::Test
{
protected:
    void TearDown() override
    {
        flags_set_device_type(0);
    }
};

TEST_F(AnswerPacket, CarriesLengthAddressPortAndDeviceType)
{
    flags_set_device_type(0x1234);
    std::string packet;
    if (!in_own_network({"ip link set lo up", "ip addr add 10.20.30.40/24 dev lo"},
                        [&] { packet = built(); })) {
        GTEST_SKIP() << "this system allows no network of one's own";
    }
    EXPECT_EQ(packet, "A5 A5 0C 00 0A 14 1E 28 61 22 34 12");
}

TEST_F(AnswerPacket, CarriesAZeroAddressWithTheLoopbackInterfaceAlone)
{
    flags_set_device_type(0xFFFF);
    std::string packet;
    if (!in_own_network({"ip link set lo up"}, [&] { packet = built(); })) {
        GTEST_SKIP() << "this system allows no network of one's own";
    }
    EXPECT_EQ(packet, "A5 A5 0C 00 00 00 00 00 61 22 FF FF");
}

TEST_F(AnswerPacket, CarriesAZeroAddressWhenTheInterfacesCannotBeAskedFor)
{
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    EXPECT_EQ(built(), "A5 A5 0C 00 00 00 00 00 61 22 00 00");
}

TEST_F(AnswerPacket, GoesToThePortOnWhichPhonesListen)
{
    const sockaddr_in to = answer_destination(htonl(0x0A141E28));
    EXPECT_EQ(to.sin_family, AF_INET);
    EXPECT_EQ(ntohs(to.sin_port), 9988);
    EXPECT_EQ(ntohl(to.sin_addr.s_addr), 0x0A141E28u);
}

} // namespace
