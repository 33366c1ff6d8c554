/* SPDX-License-Identifier: MIT */
#include "cp_scripted_television.h"
#include "support/wait_until.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/ioctl.h>

namespace
{

using namespace cp_test;

/* Receives one frame as its type and payload, patiently. */
Bytes received(const Phone &phone)
{
    CpFrame frame = {};
    EXPECT_EQ(cp_receive(phone.connection, &frame, patience_ms), CP_OK);
    return Bytes{frame.type} + taken(frame.payload);
}

CpStatus receive_status(const Phone &phone, uint32_t timeout_ms)
{
    CpFrame frame = {};
    return cp_receive(phone.connection, &frame, timeout_ms);
}

/* Resets the connection once the control point has it and has sent a no-op. */
void resetting(const Peer &peer)
{
    peer.receive_frame();
    peer.reset_when_closed();
}

TEST(ControlPointConnect, IsRefusedWhereNobodyListens)
{
    uint16_t port = 0;
    const int descriptor = bound_socket(&port);
    CpConnection *connection = nullptr;
    EXPECT_EQ(cp_connect(&connection, "127.0.0.1", port, patience_ms), refused);
    EXPECT_EQ(connection, nullptr);
    close(descriptor);
}

TEST(ControlPointConnect, TimesOutWhereNobodyAnswers)
{
    uint16_t port = 0;
    const int listener = bound_socket(&port);
    ASSERT_EQ(listen(listener, 0), 0);
    /* Nobody accepts: once the queue is full, the system leaves every further phone waiting. */
    CpConnection *connections[8] = {};
    CpStatus status = CP_OK;
    for (size_t i = 0; i < 8 && status == CP_OK; i++) {
        status = cp_connect(&connections[i], "127.0.0.1", port, 200);
    }
    EXPECT_EQ(status, CP_TIMED_OUT);
    for (CpConnection *connection : connections) {
        cp_disconnect(connection);
    }
    close(listener);
}

TEST(ControlPointConnect, DoesNotFindAHostThatDoesNotExist)
{
    CpConnection *connection = nullptr;
    EXPECT_EQ(cp_connect(&connection, "256.1.1.1", 8801, patience_ms), CP_NOT_FOUND);
    EXPECT_EQ(connection, nullptr);
}

TEST(ControlPointConnect, RefusesBadArguments)
{
    CpConnection *connection = nullptr;
    EXPECT_EQ(cp_connect(nullptr, "127.0.0.1", 8801, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_connect(&connection, nullptr, 8801, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_connect(&connection, "127.0.0.1", 0, 1), CP_BAD_ARGUMENT);
    CpFrame frame = {};
    EXPECT_EQ(cp_send(nullptr, 9, nullptr, 0, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_receive(nullptr, &frame, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_descriptor(nullptr), -1);
    EXPECT_STREQ(cp_problem(nullptr), "");
    cp_on_other_frame(nullptr, nullptr, nullptr);
    cp_disconnect(nullptr);
}

TEST(ControlPointConnect, KeepsItsSocketFromTheProgramsThatItsOwnerStarts)
{
    const ScriptedTelevision television([](const Peer &peer) { peer.wait_until_gone(); });
    const Phone phone(television);
    EXPECT_NE(fcntl(cp_descriptor(phone.connection), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(ControlPointSend, PutsTheExactFrameOnTheWire)
{
    Bytes seen;
    {
        const ScriptedTelevision television([&](const Peer &peer) {
            seen = peer.receive_frame();
            seen = seen + peer.receive_frame();
        });
        const Phone phone(television);
        EXPECT_EQ(cp_send(phone.connection, CP_FRAME_HEARTBEAT, nullptr, 0, patience_ms), CP_OK);
        EXPECT_EQ(cp_send(phone.connection, CP_FRAME_SET, "\x07\x15", 2, patience_ms), CP_OK);
    }
    EXPECT_EQ(seen, frame_bytes(0xEE, {}) + frame_bytes(0x07, {0x07, 0x15}));
}

TEST(ControlPointSend, TimesOutOnATelevisionThatReadsNothingAndCanSendNoMore)
{
    std::atomic<bool> over{false};
    const ScriptedTelevision television([&](const Peer &peer) {
        wait_until([&] { return over.load(); });
        peer.wait_until_gone();
    });
    const Phone phone(television);
    const Bytes large(64 * 1048576, 1);
    EXPECT_EQ(cp_send(phone.connection, CP_FRAME_SET, large.data(), large.size(), 100),
              CP_TIMED_OUT);
    EXPECT_EQ(cp_send(phone.connection, CP_FRAME_NO_OP, nullptr, 0, patience_ms), CP_CLOSED);
    EXPECT_STREQ(cp_problem(phone.connection), "an earlier frame was cut off");
    over = true;
}

TEST(ControlPointSend, OutlivesATelevisionThatHasGone)
{
    const ScriptedTelevision television(resetting);
    const Phone phone(television);
    ASSERT_EQ(cp_send(phone.connection, CP_FRAME_NO_OP, nullptr, 0, patience_ms), CP_OK);
    CpStatus status = CP_OK;
    while (status == CP_OK) { /* the reset takes a moment to arrive */
        status = cp_send(phone.connection, CP_FRAME_NO_OP, nullptr, 0, patience_ms);
    }
    EXPECT_EQ(status, CP_CLOSED);
    EXPECT_STREQ(cp_problem(phone.connection), "the connection was reset");
    EXPECT_EQ(cp_send(phone.connection, CP_FRAME_NO_OP, nullptr, 0, patience_ms), CP_CLOSED);
}

TEST(ControlPointReceive, TakesFramesHoweverTheyArrive)
{
    const Bytes wire = frame_bytes(9, small_event()) + frame_bytes(0xEE, text_bytes("HEART"));
    const ScriptedTelevision television([&](const Peer &peer) {
        for (const uint8_t byte : wire) {
            peer.send({byte});
        }
        peer.send(wire);
    });
    const Phone phone(television);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(received(phone), Bytes{9} + small_event());
        EXPECT_EQ(received(phone), Bytes{0xEE} + text_bytes("HEART"));
    }
    EXPECT_EQ(receive_status(phone, patience_ms), CP_CLOSED);
}

TEST(ControlPointReceive, TakesAFrameThatIsLargerThanOneRead)
{
    const Bytes payload(3000000, 0x5A);
    const ScriptedTelevision television(
        [&](const Peer &peer) { peer.send(frame_bytes(CP_FRAME_GET_REPLY, payload)); });
    const Phone phone(television);
    EXPECT_EQ(received(phone), Bytes{6} + payload);
}

TEST(ControlPointReceive, TimesOutAndKeepsThePartThatIsThere)
{
    const Bytes wire = frame_bytes(9, small_event());
    std::atomic<bool> timed_out{false};
    const ScriptedTelevision television([&](const Peer &peer) {
        peer.send(front_of(wire, 60));
        wait_until([&] { return timed_out.load(); });
        peer.send({wire.begin() + 60, wire.end()});
    });
    const Phone phone(television);
    EXPECT_EQ(receive_status(phone, 0), CP_TIMED_OUT);
    EXPECT_EQ(receive_status(phone, 20), CP_TIMED_OUT);
    timed_out = true;
    EXPECT_EQ(received(phone), Bytes{9} + small_event());
}

TEST(ControlPointReceive, IsNotHeldUpByATrickleOfBytes)
{
    std::atomic<bool> over{false};
    const ScriptedTelevision television([&](const Peer &peer) {
        peer.send({0xA5, 0xA5, 0xA5, 0x00, 0x00, 0x00, 0x03}); /* a frame of 48 MiB */
        while (!over) {
            peer.send({0});
        }
    });
    const Phone phone(television);
    EXPECT_EQ(receive_status(phone, 50), CP_TIMED_OUT);
    over = true;
}

TEST(ControlPointReceive, TakesAWholeFrameThatIsThereWithoutWaiting)
{
    const Bytes payload(50000, 1);
    const ScriptedTelevision television([&](const Peer &peer) {
        peer.send(frame_bytes(CP_FRAME_GET_REPLY, payload));
        peer.wait_until_gone();
    });
    const Phone phone(television);
    ASSERT_TRUE(wait_until([&] {
        int waiting = 0;
        return ioctl(cp_descriptor(phone.connection), FIONREAD, &waiting) == 0 && waiting == 50072;
    }));
    EXPECT_EQ(receive_status(phone, 0), CP_OK);
}

TEST(ControlPointReceive, TellsAnOrderlyEndFromOneInTheMiddleOfAFrame)
{
    {
        const ScriptedTelevision television(
            [](const Peer &peer) { peer.send(frame_bytes(CP_FRAME_NO_OP, {})); });
        const Phone phone(television);
        EXPECT_EQ(received(phone), (Bytes{0x0A}));
        EXPECT_EQ(receive_status(phone, patience_ms), CP_CLOSED);
        EXPECT_STREQ(cp_problem(phone.connection), "");
    }
    for (const size_t size : std::vector<size_t>{1, 6, 7, 50, 71}) {
        const ScriptedTelevision television(
            [=](const Peer &peer) { peer.send(front_of(frame_bytes(CP_FRAME_NO_OP, {}), size)); });
        const Phone phone(television);
        EXPECT_EQ(receive_status(phone, patience_ms), CP_CLOSED);
        EXPECT_STREQ(cp_problem(phone.connection), "it closed in the middle of a frame");
        EXPECT_EQ(receive_status(phone, patience_ms), CP_CLOSED);
    }
}

TEST(ControlPointReceive, TellsAReset)
{
    const ScriptedTelevision television(resetting);
    const Phone phone(television);
    ASSERT_EQ(cp_send(phone.connection, CP_FRAME_NO_OP, nullptr, 0, patience_ms), CP_OK);
    EXPECT_EQ(receive_status(phone, patience_ms), CP_CLOSED);
    EXPECT_STREQ(cp_problem(phone.connection), "the connection was reset");
}

TEST(ControlPointReceive, RefusesWhatIsNoTelevision)
{
    const ScriptedTelevision television(
        [](const Peer &peer) { peer.send(text_bytes("220 mail.example ready\r\n")); });
    const Phone phone(television);
    EXPECT_EQ(receive_status(phone, patience_ms), CP_PROTOCOL);
    EXPECT_STREQ(cp_problem(phone.connection), "bad magic");
    EXPECT_EQ(receive_status(phone, patience_ms), CP_PROTOCOL);
}

std::atomic<int> signals_taken{0};

void take_signal(int)
{
    signals_taken++;
}

TEST(ControlPointReceive, IsNotEndedByASignal)
{
    struct sigaction action = {};
    action.sa_handler = take_signal;
    struct sigaction before = {};
    sigaction(SIGUSR1, &action, &before);
    std::atomic<bool> over{false};
    const ScriptedTelevision television([&](const Peer &peer) { peer.wait_until_gone(); });
    {
        const Phone phone(television);
        const pthread_t receiver = pthread_self();
        std::thread disturber([&] {
            for (int sent = signals_taken; !over;) { /* each when the last has been taken */
                pthread_kill(receiver, SIGUSR1);
                sent++;
                wait_until([&] { return signals_taken == sent || over; });
            }
        });
        EXPECT_EQ(receive_status(phone, 50), CP_TIMED_OUT);
        over = true;
        disturber.join();
        EXPECT_GT(signals_taken, 0);
    }
    sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
