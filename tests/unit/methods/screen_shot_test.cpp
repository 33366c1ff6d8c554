/* SPDX-License-Identifier: MIT */
/* The capture of the screen: the reply with a port, and what is fetched there. */
#include "support/asked_television.h"
#include "support/bulk_client.h"
#include "support/counted_threads.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "transfer/bulk.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>

#include <unistd.h>

namespace
{

const char *const REQUEST = "01 18 01 EE EE FE FF EE FD FF";
const char *const NO_PORT = "06 01 18 01 04 00 00";
const char *const SOCKET_FAILED = "zqt===  create_new_socket 85\n";
const char *const ENDED = "zqt===  big_data_thread 156\n";

std::string port_reply(uint16_t port)
{
    return frame_around("06 01 18 01 04 " +
                        hex(Bytes{static_cast<uint8_t>(port), static_cast<uint8_t>(port >> 8)}));
}

class ScreenShot : public AskedTelevision
{
protected:
    ~ScreenShot() override
    {
        EXPECT_TRUE(wait_for_bulk_threads());
    }

    void host_gives(const Bytes &image, uint32_t length, bool null_data = false)
    {
        HostAnswers answers;
        answers.outs = {length};
        answers.data = image;
        answers.null_data = null_data;
        host.answer(answers);
    }

    void host_gives(const std::string &image)
    {
        const Bytes content = bytes(image);
        host_gives(content, static_cast<uint32_t>(content.size()));
    }

    static void limit(uint32_t bulk_accept_ms)
    {
        IppGuard guard = {};
        guard.bulk_accept_ms = bulk_accept_ms;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    static void allow(uint32_t max_captures)
    {
        IppGuard guard = {};
        guard.max_captures = max_captures;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    bool wait_for_bulk_threads(size_t left = 0) const
    {
        return threads_.are_as_before(left);
    }

    /* The port of the reply in this frame, 0 when it is not the reply that it should be. */
    static uint16_t port_in(const Bytes &frame)
    {
        const size_t at = 56;
        if (frame.size() != 78) {
            ADD_FAILURE() << hex(frame);
            return 0;
        }
        const uint16_t port = static_cast<uint16_t>(frame[at - 1] | frame[at] << 8);
        EXPECT_EQ(hex(frame), port_reply(port));
        EXPECT_NE(port, 0);
        return port;
    }

    uint16_t ask_for_port()
    {
        EXPECT_EQ(ask(handle_get_screen_shot2, REQUEST), 0);
        EXPECT_EQ(host.calls(), Lines{"get_screen_shot2 -2 65533 *0"});
        return port_in(bytes(phone.received()));
    }

    void expect_no_port()
    {
        const std::set<int> before = open_descriptors();
        EXPECT_EQ(ask(handle_get_screen_shot2, REQUEST), -1);
        EXPECT_EQ(host.calls(), Lines{"get_screen_shot2 -2 65533 *0"});
        EXPECT_EQ(phone.received(), frame_around(NO_PORT));
        EXPECT_TRUE(no_more_descriptors_than(before));
    }

    static void expect_delivery(uint16_t port, const std::string &data)
    {
        const Descriptor client = bulk_connection(port);
        EXPECT_EQ(hex(receive_bytes(client.get(), bytes(data).size())), hex(bytes(data)));
        EXPECT_TRUE(wait_for_end(client.get()));
        EXPECT_TRUE(is_refused(port));
    }

private:
    const CountedThreads threads_;
};

TEST_F(ScreenShot, IsDeliveredBehindItsLength)
{
    host_gives("'image'");
    expect_delivery(ask_for_port(), "05 00 00 00 'image'");
    EXPECT_TRUE(lines.wait_for(ENDED));
    EXPECT_EQ(lines.all().size(), 1u);
}

TEST_F(ScreenShot, IsDeliveredToAPhoneThatAsksThroughTheDispatcher)
{
    host_gives("'image'");
    EXPECT_EQ(ask(tv_get, "05 01 18 01 02 03 00 80 03 00 80"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_screen_shot2 -32768 32768 *0"});
    expect_delivery(port_in(bytes(phone.received())), "05 00 00 00 'image'");
}

TEST_F(ScreenShot, IsDeliveredWhateverFollowsTheRequest)
{
    host_gives("'image'");
    EXPECT_EQ(ask(handle_get_screen_shot2, "01 18 01 00 00 01 00 00 02 00 'more'"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_screen_shot2 1 2 *0"});
    expect_delivery(port_in(bytes(phone.received())), "05 00 00 00 'image'");
}

TEST_F(ScreenShot, OfNothingIsFourZeroBytes)
{
    host_gives(bytes("'unused'"), 0);
    expect_delivery(ask_for_port(), "00 00 00 00");
}

TEST_F(ScreenShot, IsDeliveredWholeWhenItIsLarge)
{
    Bytes image(2000000);
    for (size_t i = 0; i < image.size(); i++) {
        image[i] = static_cast<uint8_t>(i * 31 % 255);
    }
    host_gives(image, 2000000);
    const Descriptor client = bulk_connection(ask_for_port());
    EXPECT_TRUE(receive_bytes(client.get(), image.size() + 4) ==
                joined({bytes("80 84 1E 00"), image}));
    EXPECT_TRUE(wait_for_end(client.get()));
}

TEST_F(ScreenShot, StaysTheHostsWhoMayChangeItAtOnce)
{
    host_gives("'first'");
    const uint16_t first = ask_for_port();
    host_gives("'second, longer'");
    const uint16_t second = ask_for_port();
    EXPECT_NE(first, second);
    expect_delivery(second, "0E 00 00 00 'second, longer'");
    expect_delivery(first, "05 00 00 00 'first'");
}

TEST_F(ScreenShot, GoesToTheFirstConnectionOnly)
{
    Bytes image(8 << 20, 'i');
    host_gives(image, 8 << 20);
    const uint16_t port = ask_for_port();
    const Descriptor first = bulk_connection(port, THIS_PHONE, 4096);
    EXPECT_EQ(hex(receive_bytes(first.get(), 4)), "00 00 80 00"); /* it is being served */
    const Descriptor second = bulk_connection(port);
    EXPECT_TRUE(receive_bytes(first.get(), image.size()) == image);
    EXPECT_TRUE(wait_for_end(first.get()));
    EXPECT_TRUE(second.get() < 0 || wait_for_end(second.get()));
    EXPECT_TRUE(is_refused(port));
}

TEST_F(ScreenShot, WaitsForItsPhoneByDefaultAndServesAnybody)
{
    phone.record()->peer_addr = inet_addr(THIS_PHONE);
    host_gives("'image'");
    const uint16_t waiting = ask_for_port();
    for (int i = 0; i < 10; i++) {
        expect_delivery(ask_for_port(), "05 00 00 00 'image'");
    }
    const Descriptor stranger = bulk_connection(waiting, ANOTHER_PHONE);
    EXPECT_EQ(hex(receive_bytes(stranger.get(), 9)), hex(bytes("05 00 00 00 'image'")));
    EXPECT_TRUE(wait_for_end(stranger.get()));
}

/* ---- The guard's limit */

TEST_F(ScreenShot, IsGivenUpWhenNobodyComesInTime)
{
    limit(1);
    host_gives("'image'");
    const uint16_t port = ask_for_port();
    EXPECT_TRUE(lines.wait_for("zqt===  big_data_thread 121\n"));
    EXPECT_EQ(lines.out(), (Lines{"err: accept() in big_data_thread() function\n",
                                  "zqt===  big_data_thread 121\n"}));
    EXPECT_TRUE(is_refused(port));
}

TEST_F(ScreenShot, GoesOnlyToTheAddressThatAskedWhenThereIsALimit)
{
    limit(600000);
    phone.record()->peer_addr = inet_addr(THIS_PHONE);
    host_gives("'image'");
    const uint16_t port = ask_for_port();
    const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
    ASSERT_GE(stranger.get(), 0);
    EXPECT_TRUE(wait_for_end(stranger.get()));
    expect_delivery(port, "05 00 00 00 'image'");
}

TEST_F(ScreenShot, KeepsTheLimitUnderWhichItWasAsked)
{
    limit(600000);
    phone.record()->peer_addr = inet_addr(THIS_PHONE);
    host_gives("'image'");
    const uint16_t port = ask_for_port();
    ASSERT_EQ(ipp_set_guard(nullptr), 0);
    const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
    ASSERT_GE(stranger.get(), 0);
    EXPECT_TRUE(wait_for_end(stranger.get()));
    expect_delivery(port, "05 00 00 00 'image'");
}

/* ---- The guard's bound on their number */

TEST_F(ScreenShot, HasNoPortWhileAsManyAsAreAllowedWait)
{
    for (const uint32_t most : {1u, 3u}) {
        allow(most);
        host_gives("'image'");
        std::vector<uint16_t> ports;
        for (uint32_t i = 0; i < most; i++) {
            ports.push_back(ask_for_port());
        }
        expect_no_port();
        expect_no_port();
        EXPECT_TRUE(lines.all().empty());
        for (const uint16_t port : ports) {
            expect_delivery(port, "05 00 00 00 'image'");
        }
        EXPECT_TRUE(wait_for_bulk_threads());
        lines.clear();
    }
}

TEST_F(ScreenShot, HasAPortAgainWhenOneOfThemHasEnded)
{
    allow(2);
    host_gives("'image'");
    const uint16_t first = ask_for_port();
    const uint16_t second = ask_for_port();
    expect_no_port();
    expect_delivery(first, "05 00 00 00 'image'");
    std::string reply;
    EXPECT_TRUE(wait_until([&] {
        ask(handle_get_screen_shot2, REQUEST);
        reply = phone.received();
        return reply != frame_around(NO_PORT);
    }));
    host.calls();
    expect_no_port();
    expect_delivery(port_in(bytes(reply)), "05 00 00 00 'image'");
    expect_delivery(second, "05 00 00 00 'image'");
}

TEST_F(ScreenShot, HasAPortAgainWhenThoseBeforeWereGivenUp)
{
    IppGuard guard = {};
    guard.max_captures = 1;
    guard.bulk_accept_ms = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    host_gives("'image'");
    for (int i = 0; i < 3; i++) {
        ask_for_port();
        EXPECT_TRUE(wait_for_bulk_threads());
    }
}

/* Whatever ends a capture leaves its place to the next. */
class ScreenShotAlone : public ScreenShot
{
protected:
    void begin(IppGuard guard = {}, uint32_t length = 5)
    {
        guard.max_captures = 1;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
        host_gives(Bytes(length, 'i'), length);
        port = ask_for_port();
        host_gives("'image'");
        expect_no_port();
    }

    void expect_place()
    {
        EXPECT_TRUE(wait_for_bulk_threads());
        const uint16_t next = ask_for_port();
        expect_no_port();
        expect_delivery(next, "05 00 00 00 'image'");
    }

    static constexpr uint32_t MORE_THAN_BUFFERS_HOLD = 5 << 20;

    uint16_t port = 0;
};

TEST_F(ScreenShotAlone, LeavesItsPlaceWhenItsPhoneGoesAwayInTheMiddle)
{
    begin({}, MORE_THAN_BUFFERS_HOLD);
    Descriptor client = bulk_connection(port, THIS_PHONE, 4096);
    EXPECT_EQ(hex(receive_bytes(client.get(), 4)), "00 00 50 00");
    expect_no_port();
    client.close();
    expect_place();
}

TEST_F(ScreenShotAlone, LeavesItsPlaceWhenItsPhoneStalls)
{
    IppGuard guard = {};
    guard.send_stall_ms = 1;
    begin(guard, MORE_THAN_BUFFERS_HOLD);
    const Descriptor client = bulk_connection(port, THIS_PHONE, 4096);
    ASSERT_GE(client.get(), 0);
    expect_place();
}

TEST_F(ScreenShotAlone, LeavesItsPlaceWhenItCannotAccept)
{
    {
        const Replaced accepting(system_accept4,
                                 [](int fd, sockaddr *peer, socklen_t *size, int flags) {
                                     close(system_accept4.real(fd, peer, size, flags));
                                     errno = EMFILE;
                                     return -1;
                                 });
        begin();
        const Descriptor client = bulk_connection(port);
        EXPECT_TRUE(wait_for_end(client.get()));
        EXPECT_TRUE(wait_for_bulk_threads());
    }
    expect_place();
}

TEST_F(ScreenShot, HasNoPortUntilFewerAreLeftThanTheHostAllowsNow)
{
    allow(3);
    host_gives("'image'");
    const uint16_t ports[] = {ask_for_port(), ask_for_port(), ask_for_port()};
    allow(2);
    expect_no_port();
    expect_delivery(ports[0], "05 00 00 00 'image'");
    EXPECT_TRUE(wait_for_bulk_threads(2));
    expect_no_port();
    expect_delivery(ports[1], "05 00 00 00 'image'");
    EXPECT_TRUE(wait_for_bulk_threads(1));
    const uint16_t port = ask_for_port();
    expect_no_port();
    expect_delivery(port, "05 00 00 00 'image'");
    expect_delivery(ports[2], "05 00 00 00 'image'");
}

TEST_F(ScreenShot, HasAPortUnderTheGreatestBound)
{
    allow(UINT32_MAX);
    host_gives("'image'");
    expect_delivery(ask_for_port(), "05 00 00 00 'image'");
}

TEST_F(ScreenShot, KeepsTheLimitOfASendUnderWhichItWasAsked)
{
    IppGuard guard = {};
    guard.send_stall_ms = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const uint32_t length = 5 << 20;
    host_gives(Bytes(length, 'i'), length);
    const Descriptor client = bulk_connection(ask_for_port(), THIS_PHONE, 4096);
    ASSERT_EQ(ipp_set_guard(nullptr), 0);
    EXPECT_TRUE(wait_for_bulk_threads()); /* it has given the phone up */
}

TEST_F(ScreenShot, CountsThoseThatWereAskedForBeforeTheBound)
{
    host_gives("'image'");
    std::vector<uint16_t> ports = {ask_for_port(), ask_for_port()};
    allow(2);
    expect_no_port();
    allow(3);
    ports.push_back(ask_for_port());
    expect_no_port();
    for (const uint16_t port : ports) {
        expect_delivery(port, "05 00 00 00 'image'");
    }
}

TEST_F(ScreenShot, TakesNobodysPlaceWhenItFails)
{
    allow(1);
    host_gives("'image'");
    for (SystemFunction *function :
         SystemFunctions{&system_malloc, &system_calloc, &system_socket, &system_listen}) {
        WatchedCall failing(*function);
        failing.fail(ENOMEM);
        expect_no_port();
    }
    const uint16_t port = ask_for_port();
    expect_no_port();
    expect_delivery(port, "05 00 00 00 'image'");
}

TEST_F(ScreenShot, AreExactlyAsManyAsAllowedWhenSeveralThreadsAsk)
{
    allow(7);
    std::atomic<int> granted{0};
    std::vector<std::thread> hosts;
    std::vector<uint16_t> ports(40);
    for (size_t i = 0; i < 4; i++) {
        hosts.emplace_back([&, i] {
            for (size_t place = i * 10; place < i * 10 + 10; place++) {
                granted += bulk_offer(nullptr, "image", 5, "test", &ports[place]) ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : hosts) {
        thread.join();
    }
    EXPECT_EQ(granted, 7);
    ports.erase(std::remove(ports.begin(), ports.end(), 0), ports.end());
    EXPECT_EQ(ports.size(), 7u);
    for (const uint16_t port : ports) {
        expect_delivery(port, "05 00 00 00 'image'");
    }
}

/* ---- Failures */

TEST_F(ScreenShot, HasNoPortWhenTheHostHasNoImage)
{
    host_gives({}, 5, true);
    expect_no_port();
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ScreenShot, HasNoPortWhenTheImageIsLargerThanALengthCanSay)
{
    for (const uint32_t length : {0xFFFFFFFCu, 0xFFFFFFFFu}) {
        host_gives(bytes("'image'"), length);
        expect_no_port();
    }
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ScreenShot, HasNoPortForARequestThatEndsTooEarly)
{
    host_gives("'image'");
    const Bytes whole = bytes(REQUEST);
    for (size_t size = 3; size < whole.size(); size++) {
        SCOPED_TRACE(size);
        EXPECT_EQ(ask(handle_get_screen_shot2, first_bytes(whole, size)), -1);
        EXPECT_EQ(phone.received(), frame_around(NO_PORT));
        EXPECT_EQ(ask(tv_get, joined({{0x05}, first_bytes(whole, size)})), 0);
        EXPECT_EQ(phone.received(), frame_around(NO_PORT));
    }
    for (size_t size = 0; size < 3; size++) {
        EXPECT_EQ(ask(handle_get_screen_shot2, first_bytes(whole, size)), -1);
        EXPECT_EQ(phone.received(), "");
    }
    EXPECT_TRUE(host.calls().empty());
}

TEST_F(ScreenShot, IsAnsweredBySilenceWithoutItsSlot)
{
    host.leave_out(4);
    EXPECT_EQ(ask(handle_get_screen_shot2, REQUEST), -1);
    EXPECT_EQ(ask(handle_get_screen_shot2, "01 18 01"), -1);
    host.withdraw();
    EXPECT_EQ(ask(handle_get_screen_shot2, REQUEST), -1);
    EXPECT_EQ(ask(handle_get_screen_shot2, "01 18 01"), -1);
    EXPECT_EQ(phone.received(), "");
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ScreenShot, HasNoPortWhenMemoryIsOut)
{
    host_gives("'image'");
    for (SystemFunction *function : SystemFunctions{&system_malloc, &system_calloc}) {
        WatchedCall memory(*function);
        memory.fail(ENOMEM);
        expect_no_port();
        EXPECT_GE(memory.calls(), 1);
    }
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ScreenShot, HasNoPortWithoutASocket)
{
    host_gives("'image'");
    WatchedCall creating(system_socket);
    creating.fail(EMFILE);
    expect_no_port();
    EXPECT_EQ(lines.out(), (Lines{"err: create_new_socket() fail\n", SOCKET_FAILED}));
}

TEST_F(ScreenShot, HasNoPortWhenTheSocketCannotBeBound)
{
    host_gives("'image'");
    const Replaced binding(system_bind, [](int, const sockaddr *, socklen_t) {
        errno = EADDRINUSE;
        return -1;
    });
    expect_no_port();
    EXPECT_EQ(lines.out(), (Lines{"err:bind()-line=57,func=create_new_socket\n", SOCKET_FAILED}));
}

TEST_F(ScreenShot, HasNoPortWhenTheSocketCannotListen)
{
    host_gives("'image'");
    WatchedCall listening(system_listen);
    listening.fail(EADDRINUSE);
    expect_no_port();
    EXPECT_EQ(lines.out(), Lines{SOCKET_FAILED});
}

/* A host may have closed its standard input. */
TEST_F(ScreenShot, HasNoPortWhenTheSocketIsDescriptorZero)
{
    host_gives("'image'");
    const Descriptor saved(dup(STDIN_FILENO));
    close(STDIN_FILENO);
    EXPECT_EQ(ask(handle_get_screen_shot2, REQUEST), -1);
    EXPECT_EQ(phone.received(), frame_around(NO_PORT));
    EXPECT_EQ(open_descriptors().count(STDIN_FILENO), 0u);
    dup2(saved.get(), STDIN_FILENO);
}

class ScreenShotWithoutThread : public ScreenShot
{
protected:
    ScreenShotWithoutThread() : creating_(system_pthread_create)
    {
        creating_.fail(EAGAIN, 1, 1000);
        host_gives("'image'");
    }

private:
    WatchedCall creating_;
};

TEST_F(ScreenShotWithoutThread, HasAPortThatNobodyServes)
{
    const uint16_t port = ask_for_port();
    EXPECT_EQ(lines.out(), Lines{"err:ptread_create():handle_get_screen_shot2:231\n"});
    EXPECT_TRUE(lines.err().empty());
    const Descriptor client = bulk_connection(port);
    EXPECT_GE(client.get(), 0);
    uint8_t byte = 0;
    EXPECT_EQ(recv(client.get(), &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(ScreenShotWithoutThread, TakesNobodysPlace)
{
    allow(1);
    for (int i = 0; i < 3; i++) {
        ask_for_port();
    }
}

TEST_F(ScreenShotWithoutThread, KeepsNoMoreThanAFewPortsOpen)
{
    const size_t before = open_descriptors().size();
    uint16_t port = 0;
    for (int i = 0; i < 50; i++) {
        port = ask_for_port();
    }
    EXPECT_LE(open_descriptors().size(), before + 8);
    EXPECT_GE(bulk_connection(port).get(), 0);
}

/* ---- In the running service */

TEST(ScreenShotService, ServesThePhoneThatAskedAndNoOther)
{
    CapturedLines lines;
    RecordingHost host;
    HostAnswers answers;
    answers.outs = {5};
    answers.data = bytes("'image'");
    host.answer(answers);
    IppGuard guard = {};
    guard.bulk_accept_ms = 600000;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    {
        const TcpService service;
        const Phone phone;
        phone.send(wire_frame(5, bytes("01 18 01 02 03 01 00 03 02 00")));
        const Bytes frame = phone.read_frame();
        ASSERT_EQ(frame.size(), 78u);
        const uint16_t port = static_cast<uint16_t>(frame[55] | frame[56] << 8);
        EXPECT_EQ(hex(frame), port_reply(port));
        const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
        ASSERT_GE(stranger.get(), 0);
        EXPECT_TRUE(wait_for_end(stranger.get()));
        const Descriptor client = bulk_connection(port);
        EXPECT_EQ(hex(receive_bytes(client.get(), 9)), hex(bytes("05 00 00 00 'image'")));
        EXPECT_TRUE(wait_for_end(client.get()));
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    EXPECT_TRUE(lines.wait_for(ENDED));
    ipp_set_guard(nullptr);
}

TEST(ScreenShotService, WorksOnWhileACaptureWaits)
{
    CapturedLines lines;
    RecordingHost host;
    HostAnswers answers;
    answers.outs = {5};
    answers.data = bytes("'image'");
    host.answer(answers);
    const TcpService service;
    const Phone phone;
    phone.send(wire_frame(5, bytes("01 18 01 02 03 01 00 03 02 00")));
    const Bytes frame = phone.read_frame();
    ASSERT_EQ(frame.size(), 78u);
    phone.send(wire_frame(7, bytes("09 01 02 06 05 00 00 00 06 00 00 00 00")));
    EXPECT_EQ(hex(phone.read_frame()), frame_around("08 09 01 00"));
    const Descriptor client = bulk_connection(static_cast<uint16_t>(frame[55] | frame[56] << 8));
    EXPECT_EQ(hex(receive_bytes(client.get(), 9)), hex(bytes("05 00 00 00 'image'")));
    EXPECT_TRUE(wait_for_end(client.get()));
    EXPECT_TRUE(lines.wait_for(ENDED));
}

} // namespace
