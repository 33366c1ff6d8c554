/* SPDX-License-Identifier: MIT */
/* What "tvlink-ctl doctor" says in networks in which something is wrong. Each machine has a network
 * of its own. */
#include "support/datagrams.h"
#include "support/network.h"
#include "support/program.h"
#include "support/service_facts.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <fstream>

#include <unistd.h>

namespace
{

using Words = std::vector<std::string>;

const std::string LOOPBACK = "interface lo: up, loopback, 127.0.0.1\n";
const std::string PHONE = "interface phone0: up, 10.77.0.2, which a television here would tell "
                          "phones\n"
                          "route for multicast: leads to phone0\n";
const std::string GROUPS = "group 239.200.201.202, for searches: can be joined\n"
                           "group 239.201.202.203, for announcements: can be joined\n";
const std::string NO_GROUPS =
    "group 239.200.201.202, for searches: cannot be joined: No such device\n"
    "group 239.201.202.203, for announcements: cannot be joined: No such device\n";
const std::string TELEVISION_PORTS = "TCP port 8801, for televisions to be driven: free\n"
                                     "UDP port 12426, for televisions to be found: free\n";
const std::string ANSWER_PORT = "UDP port 9988, for answers and announcements: free\n";
const std::string NOT_ANSWERED = "search of all televisions: not answered\n";
const std::string NO_ROUTE = "route for multicast: none: Network is unreachable\n";
const std::string NO_ROUTE_VERDICT =
    "verdict: this machine has no route for multicast: Network is unreachable; no television that "
    "is started on it can be found\n"
    "next: ip route replace 224.0.0.0/4 dev ";
const std::string RIGHT = "next: if a phone finds none: is it on the same network, and does the "
                          "access point let those on it talk to each other?\n";

void expect_findings(const Finished &result, int status, const std::string &out)
{
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, "");
}

/* The two lines at the end. */
void expect_verdict(const Finished &result, int status, const std::string &verdict)
{
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.err, "");
    const size_t at = result.out.find("verdict: ");
    EXPECT_EQ(at == std::string::npos ? result.out : result.out.substr(at), verdict) << result.out;
}

std::string held_by(const Program &sim)
{
    const std::string holder = "held by tvlink-sim (pid " + std::to_string(sim.id()) + ")\n";
    return "TCP port 8801, for televisions to be driven: " + holder +
           "UDP port 12426, for televisions to be found: " + holder;
}

/* A television's machine and a phone's, with a cable between them. */
class Networks : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!television.made() || !phone.made()) {
            GTEST_SKIP() << "this system allows no networks of one's own";
        }
        television.link("tv0", phone, "phone0");
        television.ip("link set lo up");
        phone.ip("link set lo up");
    }

    static void bring_up(const Network &network, const std::string &interface,
                         const std::string &address)
    {
        network.ip("addr add " + address + " dev " + interface);
        network.ip("link set " + interface + " up");
    }

    void bring_both_up() const
    {
        bring_up(television, "tv0", "10.77.0.1/24");
        bring_up(phone, "phone0", "10.77.0.2/24");
        television.ip("route add 224.0.0.0/4 dev tv0");
        phone.ip("route add 224.0.0.0/4 dev phone0");
    }

    /* Serves, but has not joined its group if it cannot. */
    static std::unique_ptr<Program> start_serving(const Network &network)
    {
        auto sim = std::make_unique<Program>(
            TVLINK_SIM_PATH, Words{"--device-type", "7", "--diagnostics"}, &network);
        EXPECT_TRUE(sim->wait_for("television \"")) << sim->err();
        return sim;
    }

    static std::unique_ptr<Program> start_television(const Network &network)
    {
        auto sim = start_serving(network);
        network.run(
            [] { EXPECT_TRUE(wait_until([] { return network_has_member(SEARCH_GROUP); })); });
        return sim;
    }

    static Finished doctor(const Network &network, const Words &more)
    {
        Words words = {"doctor"};
        words.insert(words.end(), more.begin(), more.end());
        return run_program(TVLINK_CTL_PATH, words, &network);
    }

    Network television;
    Network phone;
};

class DoctorWithTelevision : public Networks
{
};

class DoctorWithoutTelevision : public Networks
{
};

TEST_F(DoctorWithTelevision, SaysThatAllIsRight)
{
    bring_both_up();
    const auto sim = start_television(television);
    expect_findings(doctor(phone, {"--timeout", "2"}), 0,
                    LOOPBACK + PHONE + GROUPS + TELEVISION_PORTS + ANSWER_PORT +
                        "search of all televisions: answered by 1 television\n"
                        "television: tells 10.77.0.1:8801, device type 7; answered from 10.77.0.1\n"
                        "connection to 10.77.0.1:8801: connected, heartbeat answered\n"
                        "verdict: everything is right; the television can be found and driven\n" +
                        RIGHT);
}

/* Which of them answers first is left to chance. */
TEST_F(DoctorWithTelevision, SaysThatThereAreTwo)
{
    bring_both_up();
    const Network other;
    ASSERT_TRUE(other.made());
    other.link("tv0", phone, "phone1");
    bring_up(other, "tv0", "10.78.0.1/24");
    bring_up(phone, "phone1", "10.78.0.2/24");
    other.ip("route add 224.0.0.0/4 dev tv0");
    const auto sim = start_television(television);
    const auto second_sim = start_television(other);

    const Finished result = doctor(phone, {"--timeout", "4", "--json"});
    EXPECT_EQ(result.status, 0);
    const auto lines_of = [](const std::string &address) {
        return "{\"kind\":\"television\",\"told_address\":\"" + address + "\",\"source\":\"" +
               address + "\",\"port\":8801,\"device_type\":7}\n" +
               "{\"kind\":\"connection\",\"host\":\"" + address +
               "\",\"port\":8801,\"connected\":true,\"heartbeat\":true}\n";
    };
    const std::string one = lines_of("10.77.0.1");
    const std::string two = lines_of("10.78.0.1");
    const size_t at = result.out.find("{\"kind\":\"television\"");
    const bool first = result.out.find(one) < result.out.find(two);
    ASSERT_NE(at, std::string::npos) << result.out;
    EXPECT_EQ(result.out.substr(at),
              (first ? one + two : two + one) +
                  "{\"kind\":\"verdict\",\"verdict\":\"several-televisions\",\"text\":\"everything "
                  "is right; 2 televisions can be found and driven\",\"next\":\"say with --host "
                  "which one is meant; else the first to answer is\",\"status\":0}\n");
}

TEST_F(DoctorWithTelevision, SaysThatOneOnThisMachineHasNoRouteForMulticast)
{
    bring_up(television, "tv0", "10.77.0.1/24");
    bring_up(phone, "phone0", "10.77.0.2/24");
    const auto sim = start_serving(television);
    expect_findings(
        doctor(television, {"--timeout", "0.1"}), 1,
        LOOPBACK + "interface tv0: up, 10.77.0.1, which a television here would tell phones\n" +
            NO_ROUTE + NO_GROUPS + held_by(*sim) + ANSWER_PORT + NOT_ANSWERED + NO_ROUTE_VERDICT +
            "tv0\n");
}

TEST_F(DoctorWithTelevision, SaysThatOneOnThisMachineIsOnNoNetwork)
{
    const Network alone;
    ASSERT_TRUE(alone.made());
    alone.ip("link set lo up");
    alone.ip("link set lo multicast on");
    alone.ip("route add 224.0.0.0/4 dev lo");
    const auto sim = start_television(alone);
    expect_findings(doctor(alone, {"--timeout", "1.5"}), 1,
                    LOOPBACK +
                        "route for multicast: leads to lo\n"
                        "group 239.200.201.202, for searches: can be joined; joined on lo\n"
                        "group 239.201.202.203, for announcements: can be joined\n" +
                        held_by(*sim) + ANSWER_PORT +
                        "search of all televisions: answered by 1 television\n"
                        "television: tells 0.0.0.0:8801, device type 7; answered from 127.0.0.1\n"
                        "connection to 127.0.0.1:8801: connected, heartbeat answered\n"
                        "verdict: this machine has no network interface but the loopback\n"
                        "next: connect it to the television's network\n");
}

TEST_F(DoctorWithTelevision, SaysThatItTellsAnAddressOutOfReach)
{
    bring_up(television, "tv0", "10.77.0.1/24");
    const Network second_phone;
    ASSERT_TRUE(second_phone.made());
    television.link("tv1", second_phone, "phone1");
    bring_up(television, "tv1", "10.78.0.1/24");
    bring_up(second_phone, "phone1", "10.78.0.2/24");
    television.ip("route add 224.0.0.0/4 dev tv1");
    second_phone.ip("route add 224.0.0.0/4 dev phone1");
    const auto sim = start_television(television);
    const Finished result = doctor(second_phone, {"--timeout", "2"});
    expect_verdict(result, 3,
                   "verdict: the television at 10.78.0.1 tells phones 10.77.0.1, which cannot be "
                   "reached from here\n"
                   "next: have the television's interface on this network come first in its list; "
                   "until then use --host 10.78.0.1\n");
    EXPECT_NE(
        result.out.find("television: tells 10.77.0.1:8801, device type 7; answered from 10.78.0.1\n"
                        "connection to 10.77.0.1:8801: no connection: not found\n"
                        "connection to 10.78.0.1:8801: connected, heartbeat answered\n"),
        std::string::npos)
        << result.out;
}

TEST_F(DoctorWithTelevision, SaysThatMulticastDoesNotGetToTheNamedOne)
{
    bring_both_up();
    television.ip("route del 224.0.0.0/4");
    const auto sim = start_serving(television);
    expect_verdict(doctor(phone, {"--timeout", "3", "--host", "10.77.0.1"}), 3,
                   "verdict: 10.77.0.1 answers when it alone is asked, but multicast does not get "
                   "there\n"
                   "next: same network? Else look at the access point's client isolation and IGMP "
                   "snooping, and whether the television joined 239.200.201.202\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatNoneAnswers)
{
    bring_both_up();
    expect_findings(
        doctor(phone, {"--timeout", "0.1"}), 3,
        LOOPBACK + PHONE + GROUPS + TELEVISION_PORTS + ANSWER_PORT + NOT_ANSWERED +
            "verdict: this machine is in order, but no television answered\n"
            "next: is one running on the same network, and does this machine's firewall let UDP "
            "port 9988 in? If its address is known, run \"tvlink-ctl doctor --host ADDRESS\"\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatNoneRunsOnTheNamedMachine)
{
    bring_both_up();
    expect_findings(doctor(phone, {"--timeout", "0.2", "--host", "10.77.0.1"}), 4,
                    LOOPBACK + PHONE + GROUPS + TELEVISION_PORTS + ANSWER_PORT + NOT_ANSWERED +
                        "search of 10.77.0.1: not answered\n"
                        "connection to 10.77.0.1:8801: no connection: connection refused\n"
                        "verdict: 10.77.0.1 is there, but no television runs on it\n"
                        "next: start the television; is that its address?\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatThereIsNoRouteForMulticast)
{
    bring_both_up();
    phone.ip("route del 224.0.0.0/4");
    expect_findings(doctor(phone, {"--timeout", "0.1"}), 1,
                    LOOPBACK +
                        "interface phone0: up, 10.77.0.2, which a television here would tell "
                        "phones\n" +
                        NO_ROUTE + NO_GROUPS + TELEVISION_PORTS + ANSWER_PORT + NOT_ANSWERED +
                        NO_ROUTE_VERDICT + "phone0\n");
}

TEST_F(DoctorWithoutTelevision, SaysWhoHasThePortOfAnswers)
{
    bring_both_up();
    Descriptor taken;
    phone.run([&] { taken = datagram_socket(9988); });
    const std::string holder = "held by system_tests (pid " + std::to_string(getpid()) + ")\n";
    expect_findings(doctor(phone, {}), 1,
                    LOOPBACK + PHONE + GROUPS + TELEVISION_PORTS +
                        "UDP port 9988, for answers and announcements: " + holder +
                        "search of all televisions: not made, since no answer could arrive\n"
                        "verdict: UDP port 9988, where answers and announcements arrive, is " +
                        holder +
                        "next: end that program and try again; one at a time can have the port\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatTheInterfaceIsDown)
{
    bring_both_up();
    phone.ip("link set phone0 down");
    expect_findings(doctor(phone, {}), 1,
                    LOOPBACK +
                        "interface phone0: down, 10.77.0.2, which a television here would tell "
                        "phones\n" +
                        NO_ROUTE + NO_GROUPS + TELEVISION_PORTS + ANSWER_PORT +
                        "search of all televisions: could not be sent: Network is unreachable\n"
                        "verdict: no network interface of this machine is up\n"
                        "next: ip link set phone0 up\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatTheInterfaceLeadsNowhere)
{
    bring_both_up();
    television.ip("link set tv0 down");
    expect_verdict(doctor(phone, {"--timeout", "0.1"}), 1,
                   "verdict: phone0 is up but not connected to a network\n"
                   "next: plug in its cable or join the access point\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatThereIsNoInterfaceAtAll)
{
    const Network nothing;
    ASSERT_TRUE(nothing.made());
    expect_findings(doctor(nothing, {}), 1,
                    "interface lo: down, loopback, no IPv4 address\n" + NO_ROUTE + NO_GROUPS +
                        TELEVISION_PORTS + ANSWER_PORT +
                        "search of all televisions: could not be sent: Network is unreachable\n"
                        "verdict: this machine has no network interface but the loopback\n"
                        "next: connect it to the television's network\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatGroupsCannotBeJoined)
{
    bring_both_up();
    phone.run([] {
        std::ofstream most("/proc/sys/net/ipv4/igmp_max_memberships");
        most << "0" << std::flush;
        ASSERT_TRUE(most.good());
    });
    expect_verdict(doctor(phone, {"--timeout", "0.1"}), 1,
                   "verdict: the group 239.200.201.202 cannot be joined: No buffer space "
                   "available\n"
                   "next: sysctl net.ipv4.igmp_max_memberships=20\n");
}

TEST_F(DoctorWithoutTelevision, SaysThatWhoAnswersTellsNoAddress)
{
    bring_both_up();
    Descriptor ear;
    television.run([&] {
        ear = datagram_socket(12426);
        ASSERT_TRUE(join_group(ear.get(), SEARCH_GROUP, "10.77.0.1"));
    });
    Program program(TVLINK_CTL_PATH, {"doctor", "--timeout", "2"}, &phone);
    const std::optional<Datagram> search = receive_datagram(ear.get());
    ASSERT_TRUE(search.has_value());
    EXPECT_EQ(search->data, "A5 A5 08 00 41 49 49 50");
    EXPECT_TRUE(send_datagram(ear.get(), bytes("A5 A5 0C 00 00 00 00 00 61 22 01 00"),
                              search->from.c_str(), 9988));
    const std::optional<int> status = program.wait_for_exit();
    expect_verdict({status, program.out(), program.err()}, 3,
                   "verdict: the television at 10.77.0.1 tells phones the address 0.0.0.0: it "
                   "knows of no network interface\n"
                   "next: give an interface of the television an address; it looks anew for each "
                   "answer, for announcements only when it starts\n");
}

} // namespace
