/* SPDX-License-Identifier: MIT */
/* The announcing threads of the whole service: they outlive the run that started them. */
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/libc_texts.h"
#include "support/own_network.h"
#include "support/running_service.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"

#include <gtest/gtest.h>

namespace
{

using Lines = std::vector<std::string>;
using Packets = std::vector<std::string>;

const char *const FIRST_END = "zqt===  notify_cp_multicast 175\n";
const char *const SECOND_END = "zqt===  soc_close 351\n";

const useconds_t SHORTEST_PAUSE_US = 500000;
const useconds_t LONGEST_PAUSE_US = 64000000;

std::string announcement(const std::string &device_type)
{
    return "A5 A5 0C 00 00 00 00 00 61 22 " + device_type; /* no address but the loopback's */
}

/* A pause of this length lasts until the door is opened; the other ones that announcing threads
 * make take no time. */
class HeldPauses
{
public:
    explicit HeldPauses(useconds_t length)
        : replaced_(system_usleep, [this, length](useconds_t microseconds) {
              if (microseconds < SHORTEST_PAUSE_US) {
                  return system_usleep.real(microseconds);
              }
              if (microseconds == length) {
                  door.pass();
              }
              return 0;
          })
    {
    }

    const Door door;

private:
    const Replaced<decltype(system_usleep)> replaced_;
};

class AnnouncingThread : public testing::Test
{
protected:
    /* Runs the body beside a phone that listens for announcements. */
    void with_phone(const std::function<void()> &body)
    {
        const auto with_listener = [&] {
            Descriptor listener = datagram_socket(9988);
            ASSERT_TRUE(join_group(listener.get(), "239.201.202.203", "127.0.0.1"));
            phone = listener.get();
            body();
        };
        if (!in_own_network({"ip link set lo up", "ip route add 224.0.0.0/4 dev lo"},
                            with_listener)) {
            GTEST_SKIP() << "this system allows no network of one's own";
        }
    }

    Packets heard(size_t count) const
    {
        Packets packets;
        while (packets.size() < count) {
            packets.push_back(received(phone));
        }
        return packets;
    }

    int phone = -1;
    CapturedLines lines;
};

TEST_F(AnnouncingThread, AnnouncesNothingAfterAPauseInWhichTheServiceStops)
{
    for (const useconds_t pause : {SHORTEST_PAUSE_US, LONGEST_PAUSE_US}) {
        const HeldPauses pauses(pause);
        with_phone([&] {
            {
                const RunningService service(0x0102);
                EXPECT_TRUE(pauses.door.wait_for_somebody());
                EXPECT_TRUE(lines.wait_for(JOINED));
            }
            const size_t before = pause == SHORTEST_PAUSE_US ? 1 : 8;
            EXPECT_EQ(heard(before), Packets(before, announcement("02 01")));
            EXPECT_TRUE(nothing_received(phone));
            lines.clear();
            pauses.door.open();
            EXPECT_TRUE(lines.wait_for(SECOND_END));
            EXPECT_EQ(lines.out(), (Lines{FIRST_END, SECOND_END}));
            EXPECT_TRUE(nothing_received(phone));
        });
    }
}

TEST_F(AnnouncingThread, AnnouncesNothingIntoTheRunAfterItsOwn)
{
    const HeldPauses pauses(SHORTEST_PAUSE_US);
    with_phone([&] {
        {
            const RunningService first(0x0101);
            EXPECT_TRUE(pauses.door.wait_for_somebody(1));
        }
        EXPECT_EQ(heard(1), Packets{announcement("01 01")});
        const RunningService second(0x0202);
        EXPECT_TRUE(pauses.door.wait_for_somebody(2));
        EXPECT_EQ(heard(1), Packets{announcement("02 02")});
        pauses.door.open();
        EXPECT_TRUE(lines.wait_for(SECOND_END, 2)) << "of the first run, and of the second";
        EXPECT_EQ(heard(7), Packets(7, announcement("02 02")));
        EXPECT_TRUE(nothing_received(phone));
    });
}

} // namespace
