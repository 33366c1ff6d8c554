/* SPDX-License-Identifier: MIT */
#include "identity.h"

#include "support/network.h"

#include <gtest/gtest.h>

namespace
{

TEST(SimIdentity, IsMadeOfMachineAndNetwork)
{
    const sim::Identity one = sim::identity_of("machine", "network");
    EXPECT_EQ(one.name.substr(0, 11), "tvlink-sim-");
    EXPECT_EQ(one.name.size(), 15u);
    EXPECT_EQ(one.serial.substr(0, 4), "SIM-");
    EXPECT_EQ(one.serial.size(), 12u);
    EXPECT_EQ(sim::identity_of("machine", "network").serial, one.serial);
    EXPECT_NE(sim::identity_of("machine", "netwosk").name, one.name);
    EXPECT_NE(sim::identity_of("machinf", "network").name, one.name);
    EXPECT_NE(sim::identity_of("machinen", "etwork").name, one.name);
}

/* It must not change with a new version: scripts and phones remember it. */
TEST(SimIdentity, StaysTheSameForEver)
{
    EXPECT_EQ(sim::identity_of("", "").serial, "SIM-E1C03E97");
    EXPECT_EQ(sim::identity_of("0123456789abcdef0123456789abcdef", "tv1").name, "tvlink-sim-6b23");
}

TEST(SimIdentity, DiffersFromNetworkToNetworkAndNotFromRunToRun)
{
    const Network one;
    const Network other;
    if (!one.made() || !other.made()) {
        GTEST_SKIP() << "this system allows no networks of one's own";
    }
    one.link("tv0", other, "tv0");
    one.ip("addr add 192.0.2.7/24 dev tv0");
    other.ip("addr add 192.0.2.8/24 dev tv0");
    std::string serial;
    one.run([&] {
        serial = sim::own_identity().serial;
        EXPECT_EQ(sim::own_identity().serial, serial);
    });
    other.run([&] { EXPECT_NE(sim::own_identity().serial, serial); });
    /* What follows is the address, not the interface, which may have been made anew. */
    other.ip("addr flush dev tv0");
    one.ip("addr flush dev tv0");
    other.ip("addr add 192.0.2.7/24 dev tv0");
    other.run([&] { EXPECT_EQ(sim::own_identity().serial, serial); });
}

} // namespace
