/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "support/captured_lines.h"
#include "support/own_network.h"
#include "support/process_state.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>

namespace
{

using Lines = std::vector<std::string>;
using Commands = std::vector<std::string>;

const int NO_COUNT = -4711;
const char *const TRACE = "zqt===  net_getipaddress 517\n";

const Commands LOOPBACK = {"ip link set lo up"};

const Commands ONE_INTERFACE = {"ip link set lo up", "ip link add eth0 type veth peer name far0",
                                "ip address add 192.0.2.7/24 dev eth0", "ip link set eth0 up"};

const Commands TWO_INTERFACES = {"ip link set lo up",
                                 "ip link add eth0 type veth peer name far0",
                                 "ip address add 192.0.2.7/24 dev eth0",
                                 "ip link set eth0 up",
                                 "ip link add eth1 type veth peer name far1",
                                 "ip address add 198.51.100.9/24 dev eth1",
                                 "ip link set eth1 up"};

/* The result, the count and the addresses: "0, 1: 127.0.0.1". */
std::string addresses_answer()
{
    uint32_t addresses[17] = {};
    int count = NO_COUNT;
    std::string text = std::to_string(net_getipaddress(addresses, &count)) + ", ";
    if (count == NO_COUNT) {
        return text + "untouched";
    }
    text += std::to_string(count) + ":";
    for (const uint32_t *address = addresses; *address != 0; address++) {
        text += std::string(" ") + inet_ntoa(in_addr{*address});
    }
    return text;
}

class SocketAddresses : public testing::Test
{
protected:
    void in_network(const Commands &commands, const std::function<void()> &body)
    {
        if (!in_own_network(commands, body)) {
            GTEST_SKIP() << "the system does not let a test make networks";
        }
    }

    CapturedLines lines;
};

TEST_F(SocketAddresses, AreNoneWithoutAnInterfaceThatIsUp)
{
    in_network({}, [&] {
        EXPECT_EQ(addresses_answer(), "0, 0:");
        EXPECT_EQ(lines.out(), Lines{TRACE});
        EXPECT_EQ(lines.err(), Lines());
    });
}

TEST_F(SocketAddresses, IncludeTheLoopback)
{
    in_network(LOOPBACK, [&] {
        EXPECT_EQ(addresses_answer(), "0, 1: 127.0.0.1");
        EXPECT_EQ(lines.out(), Lines{TRACE});
    });
}

TEST_F(SocketAddresses, BeginWithTheOneThatTheSystemListsLast)
{
    in_network(ONE_INTERFACE, [&] { EXPECT_EQ(addresses_answer(), "0, 2: 192.0.2.7 127.0.0.1"); });
    in_network(TWO_INTERFACES, [&] {
        EXPECT_EQ(addresses_answer(), "0, 3: 198.51.100.9 192.0.2.7 127.0.0.1");
        EXPECT_EQ(lines.out(), Lines(2, TRACE));
        EXPECT_EQ(lines.err(), Lines());
    });
}

TEST_F(SocketAddresses, AreAllOfAnInterface)
{
    Commands commands = ONE_INTERFACE;
    commands.push_back("ip address add 192.0.2.8/24 dev eth0");
    commands.push_back("ip address add 203.0.113.1/24 dev eth0 label eth0:1");
    in_network(commands, [&] {
        EXPECT_EQ(addresses_answer(), "0, 4: 192.0.2.8 203.0.113.1 192.0.2.7 127.0.0.1");
    });
}

TEST_F(SocketAddresses, AreAsManyAsFitInto512Bytes)
{
    Commands commands = LOOPBACK;
    for (int last = 1; last <= 20; last++) {
        commands.push_back("ip address add 192.0.2." + std::to_string(last) + "/32 dev lo");
    }
    in_network(commands, [&] {
        uint32_t addresses[17] = {};
        int count = NO_COUNT;
        EXPECT_EQ(net_getipaddress(addresses, &count), 0);
        EXPECT_EQ(count, sizeof(void *) == 4 ? 16 : 12);
        EXPECT_EQ(addresses[count - 1], htonl(INADDR_LOOPBACK));
        EXPECT_EQ(addresses[count], 0u);
    });
}

TEST_F(SocketAddresses, IncludeAnInterfaceWithoutReadableFlags)
{
    in_network(ONE_INTERFACE, [&] {
        WatchedCall queries(system_ioctl);
        queries.fail(ENODEV, 2);
        EXPECT_EQ(addresses_answer(), "0, 2: 192.0.2.7 127.0.0.1");
        EXPECT_EQ(queries.calls(), 5);
        EXPECT_EQ(lines.out(), Lines{TRACE});
        EXPECT_EQ(lines.err(), Lines{"SIOCGIFFLAGS: No such device\n"});
    });
}

TEST_F(SocketAddresses, LeaveOutAnInterfaceWhoseAddressIsGone)
{
    in_network(TWO_INTERFACES, [&] {
        WatchedCall queries(system_ioctl);
        queries.fail(EADDRNOTAVAIL, 5);
        EXPECT_EQ(addresses_answer(), "0, 2: 198.51.100.9 127.0.0.1");
        EXPECT_EQ(queries.calls(), 7);
        EXPECT_EQ(lines.out(), Lines{TRACE});
        EXPECT_EQ(lines.err(), Lines());
    });
}

TEST_F(SocketAddresses, AreNotToldWithoutAList)
{
    WatchedCall queries(system_ioctl);
    queries.fail(ENOMEM);
    EXPECT_EQ(addresses_answer(), "0, untouched");
    EXPECT_EQ(queries.calls(), 1);
    EXPECT_EQ(lines.out(), Lines{TRACE});
    EXPECT_EQ(lines.err(), Lines());
}

TEST_F(SocketAddresses, AreNotToldWithoutASocketAndThatIsClosedAllTheSame)
{
    std::vector<int> closed;
    const Replaced closing(system_close, [&](int fd) {
        closed.push_back(fd);
        return system_close.real(fd);
    });
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    WatchedCall queries(system_ioctl);
    EXPECT_EQ(addresses_answer(), "-1, untouched");
    EXPECT_EQ(closed, std::vector<int>{-1});
    EXPECT_EQ(queries.calls(), 0);
    EXPECT_EQ(lines.out(), Lines{TRACE});
}

TEST_F(SocketAddresses, NeedAPlaceForAddressesAndCount)
{
    uint32_t address = 0;
    int count = NO_COUNT;
    EXPECT_EQ(net_getipaddress(nullptr, &count), -1);
    EXPECT_EQ(net_getipaddress(&address, nullptr), -1);
    EXPECT_EQ(count, NO_COUNT);
    EXPECT_EQ(address, 0u);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST_F(SocketAddresses, LeaveNoDescriptorOpen)
{
    const std::set<int> before = open_descriptors();
    (void)addresses_answer();
    WatchedCall queries(system_ioctl);
    queries.fail(ENOMEM);
    (void)addresses_answer();
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace
