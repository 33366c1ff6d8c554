/* SPDX-License-Identifier: MIT */
#include "tvlink.h"

#include "link/registry.h"
#include "support/captured_lines.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "tvlink/frame.h"
#include "tvlink/registry.h"
#include "tvlink/reply.h"
#include "tvlink/tcp_server.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <map>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;

/* A registry without a server: its connections are socket pairs. */
class Events : public testing::Test
{
protected:
    void SetUp() override
    {
        registry_open();
    }

    void TearDown() override
    {
        ipp_set_log_sink(nullptr, nullptr);
        registry_close();
        registry_open();
    }

    /* The phone's end of a new connection; the library owns the other one. */
    Descriptor connect_phone(ConnectedPair pair = local_pair())
    {
        const int fd = pair.near.release();
        registry_lock();
        EXPECT_EQ(check_and_insert(fd, inet_addr("192.0.2.7")), 0);
        registry_unlock();
        fds_.push_back(fd);
        return std::move(pair.far);
    }

    std::vector<int> fds_;
};

/* The next frame that arrives, which is expected to be an event of the payload's size. */
std::string next_event(const Descriptor &phone, const Bytes &payload)
{
    return hex(receive_bytes(phone.get(), payload.size() + 72));
}

std::string event_frame(const Bytes &payload)
{
    return hex(wire_frame(FRAME_EVENT, payload));
}

#define EXPECT_EVENT(phone, text)                                                                  \
    EXPECT_EQ(next_event(phone, bytes(text)), event_frame(bytes(text)))

TEST_F(Events, TravelInOneFrame)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(0x1234, 7, "ab", "\x0D\x0E\x0F", 3), 0);
    EXPECT_EQ(hex(receive_bytes(phone.get(), 93)),
              "A5 A5 A5 5D 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 09 "
              "34 12 04 03 07 00 08 02 00 00 00 61 62 0C 03 00 00 00 0D 0E 0F "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "AF");
}

TEST_F(Events, CarryCodeValueTextAndData)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(0x1234, 7, "ab", "\x01\x00\xFF", 3), 0);
    EXPECT_EVENT(phone, "34 12 04 03 07 00 08 02 00 00 00 'ab' 0C 03 00 00 00 01 00 FF");
}

TEST_F(Events, CarryTwoTexts)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event2(0x1234, 7, "ab", "cde", "\x01\x00\xFF", 3), 0);
    EXPECT_EVENT(phone, "34 12 05 03 07 00 08 02 00 00 00 'ab' 08 03 00 00 00 'cde' "
                        "0C 03 00 00 00 01 00 FF");
}

TEST_F(Events, HaveEmptyTextsForNull)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, "x", 1), 0);
    EXPECT_EVENT(phone, "01 00 04 03 02 00 08 00 00 00 00 0C 01 00 00 00 'x'");
    EXPECT_EQ(ipp_report_dev_event(1, 2, "", "x", 1), 0);
    EXPECT_EVENT(phone, "01 00 04 03 02 00 08 00 00 00 00 0C 01 00 00 00 'x'");
    EXPECT_EQ(ipp_report_dev_event2(1, 2, nullptr, "b", "x", 1), 0);
    EXPECT_EVENT(phone, "01 00 05 03 02 00 08 00 00 00 00 08 01 00 00 00 'b' 0C 01 00 00 00 'x'");
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "a", nullptr, "x", 1), 0);
    EXPECT_EVENT(phone, "01 00 05 03 02 00 08 01 00 00 00 'a' 08 00 00 00 00 0C 01 00 00 00 'x'");
    EXPECT_EQ(ipp_report_dev_event2(1, 2, nullptr, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "01 00 05 03 02 00 08 00 00 00 00 08 00 00 00 00 0C 00 00 00 00");
}

TEST_F(Events, HaveNoDataForALengthOfZero)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(1, 2, "a", nullptr, 0), 0);
    EXPECT_EVENT(phone, "01 00 04 03 02 00 08 01 00 00 00 'a' 0C 00 00 00 00");
    EXPECT_EQ(ipp_report_dev_event(1, 2, "a", "not looked at", 0), 0);
    EXPECT_EVENT(phone, "01 00 04 03 02 00 08 01 00 00 00 'a' 0C 00 00 00 00");
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "a", "b", "not looked at", 0), 0);
    EXPECT_EVENT(phone, "01 00 05 03 02 00 08 01 00 00 00 'a' 08 01 00 00 00 'b' 0C 00 00 00 00");
}

TEST_F(Events, SendTheLow16BitsOfCodeAndValue)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(0x12345, 0x9ABCDEF0u, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "45 23 04 03 F0 DE 08 00 00 00 00 0C 00 00 00 00");
    EXPECT_EQ(ipp_report_dev_event(-1, UINT32_MAX, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "FF FF 04 03 FF FF 08 00 00 00 00 0C 00 00 00 00");
    EXPECT_EQ(ipp_report_dev_event2(INT32_MIN, 0x10000, nullptr, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "00 00 05 03 00 00 08 00 00 00 00 08 00 00 00 00 0C 00 00 00 00");
}

TEST_F(Events, HaveFourByteLengths)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    const std::string text(70000, 't');
    const Bytes data(66000, 0xD0);
    Bytes received;
    std::thread reader([&] { received = receive_bytes(phone.get(), 16 + 70000 + 66000 + 72); });
    EXPECT_EQ(ipp_report_dev_event(1, 2, text.c_str(), data.data(), 66000), 0);
    reader.join();
    const Bytes payload = joined({bytes("01 00 04 03 02 00 08 70 11 01 00"),
                                  Bytes(text.begin(), text.end()), bytes("0C D0 01 01 00"), data});
    EXPECT_TRUE(received == wire_frame(FRAME_EVENT, payload));
}

TEST_F(Events, PrintTheirLines)
{
    const CapturedLines lines;
    EXPECT_EQ(ipp_report_dev_event(1, 2, "four", nullptr, 0), 0);
    EXPECT_EQ(lines.out(),
              (Lines{"ipp_report_dev_event 129 str_len 4 \n", "ipp_report_dev_event 162   \n"}));
    EXPECT_EQ(lines.err(), Lines());
}

TEST_F(Events, PrintTheLengthOfTheFirstOfTwoTexts)
{
    const CapturedLines lines;
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "four", "second", nullptr, 0), 0);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, nullptr, "second", nullptr, 0), 0);
    EXPECT_EQ(lines.out(),
              (Lines{"ipp_report_dev_event2 191 str_len 4 \n", "ipp_report_dev_event2 234   \n",
                     "ipp_report_dev_event2 191 str_len 0 \n", "ipp_report_dev_event2 234   \n"}));
    EXPECT_EQ(lines.err(), Lines());
}

TEST_F(Events, PrintALineForEachStepOfTheBroadcast)
{
    const CapturedLines lines;
    const Descriptor first = connect_phone();
    const Descriptor second = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "xyz", 3), 0);
    EXPECT_EQ(lines.out(), (Lines{"ipp_report_dev_event 129 str_len 2 \n",
                                  "zqt fd:" + std::to_string(fds_[0]) + " num:0 ip:70200c0\n",
                                  "  tcp_sendbackall 140,ack =4\n",
                                  "zqt  :socket_send(): tcp_sendbackall:167,send_ret=93\n",
                                  "zqt fd:" + std::to_string(fds_[1]) + " num:1 ip:70200c0\n",
                                  "  tcp_sendbackall 140,ack =4\n",
                                  "zqt  :socket_send(): tcp_sendbackall:167,send_ret=93\n",
                                  "ipp_report_dev_event 162   \n"}));
}

TEST_F(Events, ReachEverybody)
{
    const CapturedLines lines;
    std::vector<Descriptor> phones;
    for (int i = 0; i < 5; i++) {
        phones.push_back(connect_phone(i % 2 == 0 ? local_pair() : tcp_pair()));
    }
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, "x", 1), 0);
    for (const Descriptor &phone : phones) {
        EXPECT_EVENT(phone, "01 00 04 03 02 00 08 00 00 00 00 0C 01 00 00 00 'x'");
    }
}

TEST_F(Events, ReachTheOthersWhenAPhoneIsGone)
{
    const CapturedLines lines;
    const Descriptor first = connect_phone();
    Descriptor gone = connect_phone();
    const Descriptor last = connect_phone();
    gone.close();
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, "x", 1), 0);
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendbackall:177,errno=32\n"), 1u);
    EXPECT_EQ(g_cp_list.count, 2u);
    EXPECT_EVENT(first, "01 00 04 03 02 00 08 00 00 00 00 0C 01 00 00 00 'x'");
    EXPECT_EVENT(last, "01 00 04 03 02 00 08 00 00 00 00 0C 01 00 00 00 'x'");
}

TEST_F(Events, AreRefusedWhenTheyPromiseDataAndHaveNone)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", nullptr, 1), -1);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", nullptr, UINT32_MAX), -1);
    EXPECT_EQ(lines.out(), (Lines{"ipp_report_dev_event 129 str_len 2 \n",
                                  "ipp_report_dev_event2 191 str_len 2 \n"}));
    EXPECT_EQ(ipp_report_dev_event(3, 4, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "03 00 04 03 04 00 08 00 00 00 00 0C 00 00 00 00");
}

TEST_F(Events, HaveTheThirdByteOfTheList)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    const std::map<std::string, unsigned> third_bytes = {
#define EVENT(name, third_byte, values) {#name, third_byte},
#include "protocol/operations.def"
    };
    ASSERT_EQ(third_bytes.size(), 2u);
    ipp_report_dev_event(1, 2, nullptr, nullptr, 0);
    EXPECT_EVENT(phone, "01 00 0" + std::to_string(third_bytes.at("ipp_report_dev_event")) +
                            " 03 02 00 08 00 00 00 00 0C 00 00 00 00");
    ipp_report_dev_event2(1, 2, nullptr, nullptr, nullptr, 0);
    EXPECT_EVENT(phone, "01 00 0" + std::to_string(third_bytes.at("ipp_report_dev_event2")) +
                            " 03 02 00 08 00 00 00 00 08 00 00 00 00 0C 00 00 00 00");
}

TEST_F(Events, AreRefusedWhenTheyFitNoFrame)
{
    const CapturedLines lines;
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1, 100);
    const uint32_t most = INT32_MAX - 72;
    for (const uint32_t length : {most - 15, most, static_cast<uint32_t>(INT32_MAX),
                                  UINT32_MAX - 16, UINT32_MAX - 15, UINT32_MAX}) {
        EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, "", length), -1) << length;
    }
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "", most - 17), -1);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", "", most - 23), -1);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, nullptr, nullptr, "", UINT32_MAX - 20), -1);
    EXPECT_EQ(memory.calls(), 0) << "it is refused only by the lack of memory";
    EXPECT_EQ(lines.out().size(), 9u);
}

TEST_F(Events, MayBeAsLongAsAFrameCanSay)
{
    const CapturedLines lines;
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1, 100);
    const uint32_t most = INT32_MAX - 72;
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, "", most - 16), -1);
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "", most - 18), -1);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", "", most - 24), -1);
    EXPECT_EQ(memory.calls(), 3) << "the longest event is refused";
}

TEST_F(Events, AreNotSentWhenMemoryIsOut)
{
    const CapturedLines lines;
    const Descriptor phone = connect_phone();
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1, 2);
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "x", 1), -1);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", "x", 1), -1);
    EXPECT_EQ(lines.out(), (Lines{"ipp_report_dev_event 129 str_len 2 \n",
                                  "ipp_report_dev_event2 191 str_len 2 \n"}));
    EXPECT_EQ(ipp_report_dev_event(3, 4, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(phone, "03 00 04 03 04 00 08 00 00 00 00 0C 00 00 00 00");
}

TEST_F(Events, MissEverybodyButDropNobodyWithoutMemoryForTheFrame)
{
    const CapturedLines lines;
    const Descriptor first = connect_phone();
    const Descriptor second = connect_phone();
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    sendto_all_ctrlpoint(FRAME_EVENT, "\1\2\3", 3);
    EXPECT_EQ(lines.count("  tcp_sendbackall 140,ack =3\n"), 2u) << "they are told all the same";
    EXPECT_EQ(ipp_report_dev_event(3, 4, nullptr, nullptr, 0), 0);
    EXPECT_EVENT(first, "03 00 04 03 04 00 08 00 00 00 00 0C 00 00 00 00");
    EXPECT_EVENT(second, "03 00 04 03 04 00 08 00 00 00 00 0C 00 00 00 00");
    EXPECT_EQ(g_cp_list.count, 2u) << "its connection is dropped";
}

TEST_F(Events, MayBeReportedWhenTheRegistryIsClosed)
{
    const CapturedLines lines;
    registry_close();
    EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "x", 1), 0);
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", "x", 1), 0);
    EXPECT_EQ(lines.out(),
              (Lines{"ipp_report_dev_event 129 str_len 2 \n", "ipp_report_dev_event 162   \n",
                     "ipp_report_dev_event2 191 str_len 2 \n", "ipp_report_dev_event2 234   \n"}));
}

struct Sink {
    int lines;
    int held;
    bool inside;
};

/* Uses what the library guards with its locks. */
void use_the_library(int, const char *, void *context)
{
    Sink *sink = static_cast<Sink *>(context);
    sink->lines++;
    if (pthread_mutex_trylock(&g_cp_list_mutex) == 0) {
        pthread_mutex_unlock(&g_cp_list_mutex);
    } else {
        sink->held++;
    }
    if (!sink->inside) {
        sink->inside = true;
        EXPECT_EQ(ipp_report_dev_event(5, 6, nullptr, nullptr, 0), 0);
        sink->inside = false;
    }
}

TEST_F(Events, PrintNothingWithALockHeld)
{
    const Descriptor first = connect_phone();
    Descriptor gone = connect_phone();
    gone.close(); /* the lines of a failure too */
    Sink sink = {0, 0, false};
    ipp_set_log_sink(use_the_library, &sink);
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
    EXPECT_EQ(sink.held, 0);
    EXPECT_GT(sink.lines, 10);
}

/* A host may report a text that another thread changes: the television's own name, say. */
TEST_F(Events, AreAsLongAsTheirTextsWereAtFirst)
{
    const Descriptor phone = connect_phone();
    static char text[8];
    ipp_set_log_sink([](int, const char *, void *) { strcpy(text, "ABCDEF"); }, nullptr);
    strcpy(text, "ab");
    EXPECT_EQ(ipp_report_dev_event(1, 2, text, nullptr, 0), 0);
    EXPECT_EVENT(phone, "01 00 04 03 02 00 08 02 00 00 00 41 42 0C 00 00 00 00");
    strcpy(text, "abc");
    EXPECT_EQ(ipp_report_dev_event2(1, 2, "x", text, nullptr, 0), 0);
    EXPECT_EVENT(phone, "01 00 05 03 02 00 08 01 00 00 00 78 08 03 00 00 00 41 42 43"
                        " 0C 00 00 00 00");
}

TEST_F(Events, OfSeveralThreadsNeverMix)
{
    constexpr int THREADS = 3;
    constexpr int EACH = 40;
    constexpr size_t SIZE = 16 + 30000 + 72;
    ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
    const Descriptor phone = connect_phone(tcp_pair());
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; t++) {
        threads.emplace_back([t] {
            const Bytes data(30000, static_cast<uint8_t>(t));
            for (int i = 0; i < EACH; i++) {
                EXPECT_EQ(ipp_report_dev_event(t, 0, nullptr, data.data(), 30000), 0);
            }
        });
    }
    int counts[THREADS] = {};
    for (int i = 0; i < THREADS * EACH; i++) {
        const Bytes frame = receive_bytes(phone.get(), SIZE);
        const uint8_t t = frame.size() > 51 ? frame[51] : 0xFF;
        const Bytes payload =
            joined({{t}, bytes("00 04 03 00 00 08 00 00 00 00 0C 30 75 00 00"), Bytes(30000, t)});
        if (t >= THREADS || frame != wire_frame(FRAME_EVENT, payload)) {
            ADD_FAILURE() << "frame " << i << " is not one event";
            break;
        }
        counts[t]++;
    }
    shutdown(phone.get(), SHUT_RDWR); /* ends the senders if they are not done */
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const int count : counts) {
        EXPECT_EQ(count, EACH);
    }
}

} // namespace
