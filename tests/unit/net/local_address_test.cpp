/* SPDX-License-Identifier: MIT */
#include "tvlink/local_address.h"

#include "support/own_network.h"
#include "support/process_state.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>

namespace
{

constexpr uint32_t NO_ADDRESS = 0x12345678;

const char *const LOOPBACK_UP = "ip link set lo up";

/* The result and the address: "0 192.0.2.7". */
std::string local_answer()
{
    uint32_t address = NO_ADDRESS;
    const int result = get_local_ip(&address);
    const std::string text =
        address == NO_ADDRESS ? "untouched" : std::string(inet_ntoa(in_addr{address}));
    return std::to_string(result) + " " + text;
}

/* On a network that the commands made. */
#define EXPECT_ANSWER(commands, expected)                                                          \
    do {                                                                                           \
        std::string found;                                                                         \
        if (!in_own_network(commands, [&] { found = local_answer(); })) {                          \
            GTEST_SKIP() << "the system does not let a test make networks";                        \
        }                                                                                          \
        EXPECT_EQ(found, expected);                                                                \
    } while (false)

using Commands = std::vector<std::string>;

TEST(LocalAddress, IsNotThereWithoutAnInterfaceThatIsUp)
{
    EXPECT_ANSWER(Commands{}, "0 untouched");
}

TEST(LocalAddress, IsNotThatOfTheLoopback)
{
    EXPECT_ANSWER(Commands{LOOPBACK_UP}, "0 untouched");
}

TEST(LocalAddress, IsThatOfTheFirstOtherInterface)
{
    EXPECT_ANSWER((Commands{LOOPBACK_UP, "ip link add tv0 type veth peer name far0",
                            "ip address add 192.0.2.7/24 dev tv0", "ip link set tv0 up",
                            "ip address add 198.51.100.9/24 dev far0", "ip link set far0 up"}),
                  "0 " + std::string("198.51.100.9"));
}

TEST(LocalAddress, IsTheFirstInTheSystemsOrderNotInThatOfTheAddresses)
{
    EXPECT_ANSWER((Commands{LOOPBACK_UP, "ip address add 203.0.113.200/32 dev lo",
                            "ip address add 192.0.2.7/32 dev lo"}),
                  "0 203.0.113.200");
}

TEST(LocalAddress, MayBeAnyButTheOneLoopbackAddress)
{
    EXPECT_ANSWER((Commands{LOOPBACK_UP, "ip address add 127.0.0.2/8 dev lo"}), "0 127.0.0.2");
}

TEST(LocalAddress, IsLookedForIn512BytesOfTheList)
{
    Commands commands = {LOOPBACK_UP};
    for (int prefix = 9; prefix < 28; prefix++) { /* 20 entries, all of the loopback address */
        commands.push_back("ip address add 127.0.0.1/" + std::to_string(prefix) + " dev lo");
    }
    commands.push_back("ip address add 192.0.2.7/32 dev lo");
    EXPECT_ANSWER(commands, "0 untouched");
}

TEST(LocalAddress, IsFoundBehindManyLoopbackEntries)
{
    Commands commands = {LOOPBACK_UP};
    for (int prefix = 9; prefix < 19; prefix++) {
        commands.push_back("ip address add 127.0.0.1/" + std::to_string(prefix) + " dev lo");
    }
    commands.push_back("ip address add 192.0.2.7/32 dev lo");
    EXPECT_ANSWER(commands, "0 192.0.2.7");
}

TEST(LocalAddress, IsUnknownWithoutASocket)
{
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    EXPECT_EQ(local_answer(), "-1 untouched");
}

TEST(LocalAddress, IsNotThereWhenTheSystemGivesNoList)
{
    WatchedCall queries(system_ioctl);
    queries.fail(ENOMEM);
    EXPECT_EQ(local_answer(), "0 untouched");
    EXPECT_EQ(queries.calls(), 1);
}

TEST(LocalAddress, LeavesNoDescriptorOpen)
{
    const std::set<int> before = open_descriptors();
    (void)local_answer();
    WatchedCall queries(system_ioctl);
    queries.fail(ENOMEM);
    (void)local_answer();
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace
