/* SPDX-License-Identifier: MIT */
/* What tvlink-sim prints about everything that reaches it: each kind of line, as text. */
#include "system/sim_phone.h"

#include "support/datagrams.h"

#include <vector>

namespace
{

const char *const PEER = "127.0.0.1 ";
const char *const SEARCH_BYTES = "A5 A5 08 00 41 49 49 50";

class SimLines : public testing::Test
{
protected:
    SimLines() : sim(start_sim())
    {
    }

    void SetUp() override
    {
        ASSERT_NE(sim, nullptr);
    }

    /* The television prints these lines about its phones, in this order. */
    void expect_lines(const Words &lines) const
    {
        Words expected;
        for (const std::string &line : lines) {
            expected.push_back(PEER + line);
        }
        EXPECT_TRUE(wait_for_lines(*sim, expected))
            << testing::PrintToString(expected) << sim->out();
    }

    /* What is sent by a phone of its own, and the line that the television has for it. */
    void expect_line(const Bytes &sent, const std::string &line) const
    {
        const Phone phone;
        phone.send(sent);
        expect_lines({line});
    }

    void expect_request_line(uint8_t type, const std::string &payload,
                             const std::string &line) const
    {
        expect_line(wire_frame(type, bytes(payload)), line);
    }

    std::unique_ptr<Program> sim;
};

TEST_F(SimLines, ConnectionsAndWhyTheyEnd)
{
    Phone first;
    expect_lines({"connected, 1 connection"});
    Phone second;
    expect_lines({"connected, 2 connections"});
    first.hang_up();
    expect_lines({"gone: closed by the peer, 1 connection"});
    second.reset();
    expect_lines({"gone: broken by the peer or the network, 0 connections"});
}

TEST_F(SimLines, ConnectionsThatItRefuses)
{
    std::vector<std::unique_ptr<Phone>> phones;
    for (int i = 0; i < 64; i++) {
        phones.push_back(std::make_unique<Phone>());
    }
    expect_lines({"connected, 64 connections"});
    const Phone refused;
    expect_lines({"connection refused: too many"});
}

TEST_F(SimLines, AFrameThatIsTooLongEndsTheConnection)
{
    expect_line(bytes("A5 A5 00 01 00 10 00"), "gone: announced too long a frame, 0 connections");
}

TEST_F(SimLines, ItsOwnStopEndsTheConnections)
{
    const Phone phone;
    expect_lines({"connected, 1 connection"});
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    expect_lines({"gone: the service has stopped, 0 connections"});
}

TEST_F(SimLines, SearchesAnsweredAndRefused)
{
    const Descriptor phone = datagram_socket();
    const auto has_printed = [&](const std::string &line) {
        return sim->out().find(" 127.0.0.1 " + line + "\n") != std::string::npos;
    };
    /* Again and again, since the television may not yet listen. */
    EXPECT_TRUE(wait_until([&] {
        for (int i = 0; i < 2; i++) {
            EXPECT_TRUE(send_datagram(phone.get(), bytes(SEARCH_BYTES), "127.0.0.1", 12426));
        }
        return has_printed("search refused: an answer waits already") &&
               has_printed("search answered");
    })) << sim->out();
}

TEST_F(SimLines, RequestsThatAreCarriedOut)
{
    expect_request_line(SET, "01 01 02 01", "set 0x0101 set_tv_channel: answered, result 0");
    expect_request_line(GET, "00", "get get_device_info: answered");
    expect_request_line(CALL, "04 50 08 04 00 'ping'", "rpc 0x5004 methodString: answered");
    expect_request_line(0x0A, "", "no operation: silence");
}

TEST_F(SimLines, RequestsThatTheTelevisionRefuses)
{
    expect_request_line(SET, "09 01 02 05 74 00 00 00 05 00 00 00 00",
                        "set 0x0109 set_tv_key: answered, result 0"); /* power: standby */
    expect_request_line(SET, "0F 01 02 01", "set 0x010F set_tv_volume: answered, result -1");
}

TEST_F(SimLines, RequestsThatNoOperationServes)
{
    expect_request_line(GET, "01 77 77", "get 0x7777: no such operation, silence");
    expect_request_line(GET, "01 01 01",
                        "get 0x0101: no such operation; set reaches set_tv_channel, silence");
    expect_request_line(GET, "07 01 01",
                        "get: 7 is not a kind of get request, 0 and 1 are, silence");
    expect_request_line(0x33, "01 02", "frame 0x33: not the type of a request, silence");
}

TEST_F(SimLines, RequestsThatEndTooSoon)
{
    expect_request_line(SET, "01", "set: too short, silence");
    expect_request_line(SET, "09 01 02 05 8B",
                        "set 0x0109 set_tv_key: key lacks 3 of 4 bytes, answered with a failure");
    expect_request_line(SET, "12 01 02 08 02 00 'ab' 08 09 00 'cd'",
                        "set 0x0112 set_tv_textpair: second text lacks 7 of 9 bytes, answered with "
                        "a failure");
}

TEST_F(SimLines, TextsThatAreTooLong)
{
    const Bytes text(300, 'a');
    expect_line(wire_frame(SET, joined({bytes("12 01 02 08 2C 01"), text, bytes("08 00 00")})),
                "set 0x0112 set_tv_textpair: first text has 300 bytes, 255 fit, answered with a "
                "failure");
}

TEST_F(SimLines, ValuesWithAWrongTag)
{
    expect_request_line(SET, "01 01 03 01",
                        "set 0x0101 set_tv_channel: a value has the tag 0x03, 0x02 is required, "
                        "answered with a failure");
}

TEST_F(SimLines, FramesThatAreNone)
{
    Bytes frame = wire_frame(SET, bytes("01 01 02 01"));
    frame[0] = 0x5A;
    expect_line(frame, "frame of 76 bytes: a bad magic number, silence");
    frame[0] = 0xA5;
    frame[3] = 0;
    expect_line(frame, "frame of 76 bytes: a bad frame length, silence");
}

TEST_F(SimLines, AWrongChecksumThatIsAnsweredAllTheSame)
{
    Bytes frame = wire_frame(SET, bytes("01 01 02 01"));
    frame.back() ^= 0xFF;
    const Phone phone;
    phone.send(frame);
    EXPECT_EQ(hex(next_answer(phone)), "01 01 00");
    expect_lines({"set 0x0101 set_tv_channel: a wrong checksum, answered, result 0 all the same"});
}

TEST_F(SimLines, RequestsForWhichTheQueueHasNoRoom)
{
    const Bytes capture = wire_frame(GET, bytes("01 18 01 02 03 40 01 03 B4 00"));
    Bytes burst;
    for (int i = 0; i < 200; i++) {
        burst.insert(burst.end(), capture.begin(), capture.end());
    }
    const Phone phone;
    phone.send(burst);
    expect_lines({"get 0x0118 get_screen_shot2: the queue is full, silence"});
}

TEST_F(SimLines, CapturesAndWhatBecameOfThem)
{
    const Phone phone;
    phone.send(wire_frame(GET, bytes("01 18 01 02 03 40 01 03 B4 00")));
    const Bytes answer = next_answer(phone);
    ASSERT_EQ(answer.size(), 6u) << hex(answer);
    const std::string port = std::to_string(answer[4] | answer[5] << 8);
    EXPECT_TRUE(sim->wait_for(" 127.0.0.1 capture offered on port " + port + ", ")) << sim->out();
    EXPECT_TRUE(sim->wait_for(" 127.0.0.1 capture ended: nobody came for it, 0 bytes\n"))
        << sim->out();
}

TEST_F(SimLines, GuidesThatItPushes)
{
    const Phone phone;
    phone.send(wire_frame(CALL, bytes("04 50 08 0A 00 'push guide'")));
    EXPECT_TRUE(sim->wait_for(" 127.0.0.1 push begun, ")) << sim->out();
    expect_lines({"push ended"});
}

TEST_F(SimLines, EachCallWithItsPhone)
{
    const Phone phone;
    EXPECT_EQ(set(phone, "01 01 02 01"), "01 01 00");
    EXPECT_TRUE(wait_for_lines(*sim, {"127.0.0.1 connected, 1 connection",
                                      "127.0.0.1: channel +1 -> 2 (Sport)",
                                      "  event 0x7001 channel 2 \"Sport\"",
                                      "127.0.0.1 set 0x0101 set_tv_channel: answered, result 0"}))
        << sim->out();
}

TEST(SimTrace, ShowsEachRequestWhenItArrivesAndItsBytes)
{
    const auto sim = start_sim({"--trace"});
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(set(phone, "09 01 02 05 8B 00 00 00 05 00 00 00 00"), "09 01 00");
    EXPECT_TRUE(wait_for_lines(
        *sim, {"127.0.0.1 set 0x0109 set_tv_key arrived, 85 bytes",
               "127.0.0.1 set 0x0109 set_tv_key (count 2, tag 0x05, key 139, tag 0x05, second "
               "value 0): 07 090102058b0000000500000000",
               "127.0.0.1: key menu (139, 0)", "  event 0x700A sent to 1 phone",
               "127.0.0.1 set 0x0109 set_tv_key: answered, result 0"}))
        << sim->out();
}

TEST(SimTrace, IsSilentAboutBytesUnlessItIsAskedFor)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(set(phone, "09 01 02 05 8B 00 00 00 05 00 00 00 00"), "09 01 00");
    EXPECT_TRUE(wait_for_lines(*sim, {"127.0.0.1 set 0x0109 set_tv_key: answered, result 0"}));
    EXPECT_EQ(sim->out().find(" arrived, "), std::string::npos) << sim->out();
    EXPECT_EQ(sim->out().find("090102058b"), std::string::npos) << sim->out();
    EXPECT_EQ(sim->out().find(" sent to "), std::string::npos) << sim->out();
}

} // namespace
