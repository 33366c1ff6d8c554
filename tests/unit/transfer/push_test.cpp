/* SPDX-License-Identifier: MIT */
/* Pushes: a prepared reply that a thread of its own sends to one control point. */
#include "tvlink/host/push.h"

#include "link/connection.h"
#include "support/counted_threads.h"
#include "support/full_buffers.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <thread>

namespace
{

/* From malloc, as a host hands it over. */
void *block_of(const Bytes &data)
{
    uint8_t *block = static_cast<uint8_t *>(std::malloc(data.size() + 1));
    std::copy(data.begin(), data.end(), block);
    return block;
}

/* The library frees the data of a push that it has started: the leak checker watches. */
int push(CtrlPoint *cp, const Bytes &data)
{
    return start_egp_thread(&cp, block_of(data), static_cast<uint32_t>(data.size()));
}

bool is_closed(int fd)
{
    return wait_until([fd] { return !is_open(fd); });
}

class Push : public OpenRegistry
{
protected:
    ~Push() override
    {
        EXPECT_TRUE(threads.are_as_before());
    }

    const CountedThreads threads;
};

TEST_F(Push, IsOneGetReplyWithTheDataAsItIs)
{
    const ListedConnection connection;
    const Bytes data = bytes("01 00 20 A1 07 00 00 00 'abc' 00 FF");
    EXPECT_EQ(push(connection.record, data), 0);
    EXPECT_EQ(connection.received(data.size() + 72), hex(wire_frame(6, data)));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Push, TakesDataOfAnySize)
{
    const ListedConnection connection;
    for (const size_t size : {size_t{0}, size_t{1}, size_t{1000}, size_t{3000000}}) {
        const Bytes data(size, 'p');
        EXPECT_EQ(push(connection.record, data), 0);
        EXPECT_TRUE(read_frame(connection.phone.get()) == wire_frame(6, data)) << size;
    }
}

TEST_F(Push, SendsNothingForMoreThanAFrameCanHold)
{
    const ListedConnection connection;
    CtrlPoint *word = connection.record;
    for (const uint32_t length : {0x7FFFFFB8u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(start_egp_thread(&word, block_of({1}), length), 0);
    }
    EXPECT_EQ(start_egp_thread(&word, nullptr, 0), 0);
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_TRUE(is_listed(connection.record));
    EXPECT_EQ(push(connection.record, bytes("'next'")), 0);
    EXPECT_EQ(connection.received(76), hex(wire_frame(6, bytes("'next'"))));
}

TEST_F(Push, ReadsTheWordOnce)
{
    const ListedConnection one;
    const ListedConnection other;
    CtrlPoint *word = one.record;
    EXPECT_EQ(start_egp_thread(&word, block_of(bytes("'one'")), 3), 0);
    word = other.record;
    EXPECT_EQ(start_egp_thread(&word, block_of(bytes("'other'")), 5), 0);
    word = nullptr;
    EXPECT_EQ(one.received(75), hex(wire_frame(6, bytes("'one'"))));
    EXPECT_EQ(other.received(77), hex(wire_frame(6, bytes("'other'"))));
}

TEST_F(Push, GoesToAHostsOwnRecordToo)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    EXPECT_EQ(push(&record, bytes("'own'")), 0);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 75)), hex(wire_frame(6, bytes("'own'"))));
    EXPECT_TRUE(threads.are_as_before());
    pthread_mutex_lock(&record.send_lock); /* the push has let go */
    pthread_mutex_unlock(&record.send_lock);
}

TEST_F(Push, SendsWhatItsRecordSaysAndFreesIt)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    PushRecord *push = static_cast<PushRecord *>(std::calloc(1, sizeof(PushRecord)));
    push->control_point = &record;
    push->data = block_of(bytes("'by hand'"));
    push->length = 7;
    EXPECT_EQ(epg_send(push), nullptr);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 79)), hex(wire_frame(6, bytes("'by hand'"))));
}

TEST_F(Push, GoesThroughACopyOfARecord)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    EXPECT_EQ(push(item, bytes("'item'")), 0);
    EXPECT_EQ(connection.received(76), hex(wire_frame(6, bytes("'item'"))));
    std::free(item);
    EXPECT_TRUE(threads.are_as_before());
}

/* The reference that stands at this place in the list of those who are connected. */
CtrlPoint reference_to(uint32_t place)
{
    std::vector<CtrlPoint> references(place + 1);
    EXPECT_GT(ipp_connected_ctrlpoints(references.data(), place + 1), place);
    return references[place];
}

TEST_F(Push, FindsEverybodyWhoIsConnected)
{
    CtrlPoint references[3] = {};
    EXPECT_EQ(ipp_connected_ctrlpoints(references, 3), 0u);
    const ListedConnection first;
    const ListedConnection second;
    EXPECT_EQ(ipp_connected_ctrlpoints(nullptr, 0), 2u);
    EXPECT_EQ(ipp_connected_ctrlpoints(references, 1), 2u);
    EXPECT_EQ(references[0].fd, first.number);
    EXPECT_EQ(references[1].fd, 0);
    EXPECT_EQ(ipp_connected_ctrlpoints(references, 3), 2u);
    EXPECT_EQ(references[1].fd, second.number);
    EXPECT_EQ(references[1].peer_addr, second.record->peer_addr);
    EXPECT_EQ(references[2].fd, 0);
    stop();
    EXPECT_EQ(ipp_connected_ctrlpoints(references, 3), 0u);
    EXPECT_EQ(push(&references[0], bytes("'lost'")), 0);
}

TEST_F(Push, GoesToTheConnectionThatIsNamed)
{
    const ListedConnection connection;
    CtrlPoint name = reference_to(0);
    EXPECT_EQ(push(&name, bytes("'named'")), 0);
    EXPECT_EQ(connection.received(77), hex(wire_frame(6, bytes("'named'"))));
}

/* ---- What does not start */

TEST_F(Push, NeedsSomebodyToSendTo)
{
    void *data = block_of(bytes("'data'"));
    CtrlPoint *nobody = nullptr;
    EXPECT_EQ(start_egp_thread(nullptr, data, 4), -1);
    EXPECT_EQ(start_egp_thread(&nobody, data, 4), -1);
    std::free(data); /* still the caller's */
}

TEST_F(Push, LeavesTheDataToTheCallerWhenMemoryIsOut)
{
    const ListedConnection connection;
    void *data = block_of(bytes("'data'"));
    CtrlPoint *word = connection.record;
    WatchedCall memory(system_calloc);
    EXPECT_EQ(start_egp_thread(&word, block_of(bytes("'first'")), 5), 0);
    const long all = memory.calls();
    EXPECT_GE(all, 1);
    EXPECT_EQ(connection.received(77), hex(wire_frame(6, bytes("'first'"))));
    EXPECT_TRUE(threads.are_as_before());
    for (long call = 1; call <= all; call++) {
        memory.fail(ENOMEM, call);
        EXPECT_EQ(start_egp_thread(&word, data, 4), -1);
    }
    memory.fail(0, 1, 0);
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(start_egp_thread(&word, data, 4), 0);
    EXPECT_EQ(connection.received(76), hex(wire_frame(6, bytes("'data'"))));
}

TEST_F(Push, LeavesTheDataToTheCallerWithoutAThread)
{
    const ListedConnection connection;
    void *data = block_of(bytes("'data'"));
    CtrlPoint *word = connection.record;
    {
        WatchedCall creating(system_pthread_create);
        creating.fail(EAGAIN);
        EXPECT_EQ(start_egp_thread(&word, data, 4), -1);
    }
    EXPECT_EQ(lines.out(), std::vector<std::string>{"err: pthread_create() fail\n"});
    EXPECT_TRUE(lines.err().empty());
    static_cast<char *>(data)[0] = 'm'; /* still the caller's */
    std::free(data);
    drop(connection.record); /* nothing keeps the connection in use */
    EXPECT_TRUE(is_closed(connection.number));
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
}

/* ---- A phone that vanishes */

TEST_F(Push, GoesNowhereThroughACopyOfAConnectionThatHasEnded)
{
    const ListedConnection earlier;
    CtrlPoint *item = connection_copy(earlier.record);
    CtrlPoint by_hand = *item;
    drop(earlier.record);
    EXPECT_EQ(push(item, bytes("'lost'")), 0);
    EXPECT_TRUE(threads.are_as_before());
    std::free(item);
    EXPECT_TRUE(is_closed(earlier.number));

    const ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    EXPECT_EQ(push(&by_hand, bytes("'lost'")), 0);
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_EQ(push(later.record, bytes("'good'")), 0);
    EXPECT_EQ(later.received(76), hex(wire_frame(6, bytes("'good'"))));
}

/* The descriptor's number may be somebody else's by then. */
TEST_F(Push, GoesNowhereWhenTheNamedConnectionHasEnded)
{
    const ListedConnection connection;
    CtrlPoint name = reference_to(0);
    drop(connection.record);
    EXPECT_TRUE(is_closed(connection.number));
    const ConnectedPair another = local_pair();
    const bool is_near = another.near.get() == connection.number;
    const int other_end = is_near ? another.far.get() : another.near.get();
    ASSERT_TRUE(is_near || another.far.get() == connection.number);
    EXPECT_EQ(push(&name, bytes("'lost'")), 0);
    EXPECT_TRUE(threads.are_as_before());
    ASSERT_EQ(shutdown(connection.number, SHUT_WR), 0);
    EXPECT_EQ(hex(receive_bytes(other_end, 1)), "");
}

/* The push thread stands still before it builds its frame. */
TEST_F(Push, GoesNowhereWhenThePhoneGoesBeforeTheThreadRuns)
{
    const ListedConnection connection;
    const Door building;
    const std::thread::id here = std::this_thread::get_id();
    const Replaced memory(system_calloc, [&](size_t count, size_t size) {
        if (std::this_thread::get_id() != here) {
            building.pass();
        }
        return system_calloc.real(count, size);
    });
    EXPECT_EQ(push(connection.record, bytes("'lost'")), 0);
    ASSERT_TRUE(building.wait_for_somebody());
    drop(connection.record);
    EXPECT_FALSE(is_open(connection.number)); /* the push finds out */
    const ListedConnection next(local_pair());
    EXPECT_EQ(next.number, connection.number);
    building.open();
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendback:244,errno=32\n"), 1u);
    EXPECT_EQ(push(next.record, bytes("'good'")), 0);
    EXPECT_EQ(next.received(76), hex(wire_frame(6, bytes("'good'"))));
}

TEST_F(Push, EndsWhenThePhoneIsDroppedWhileItIsSent)
{
    const ListedConnection connection;
    const Door sending;
    std::atomic<bool> held{true};
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        if (fd == connection.number && held) {
            sending.pass();
        }
        return system_send.real(fd, data, size, flags);
    });
    EXPECT_EQ(push(connection.record, bytes("'lost'")), 0);
    ASSERT_TRUE(sending.wait_for_somebody());
    drop(connection.record);
    EXPECT_TRUE(is_open(connection.number));
    const ListedConnection next(local_pair());
    EXPECT_NE(next.number, connection.number);
    held = false;
    sending.open();
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_TRUE(is_closed(connection.number));
    EXPECT_TRUE(lines.wait_for("err:socket_send(): tcp_sendback:244,errno=32\n"));
    EXPECT_EQ(lines.all().size(), 1u);
}

TEST_F(Push, DropsAPhoneThatHasResetItsConnection)
{
    ListedConnection connection(local_pair());
    connection.phone.close();
    EXPECT_EQ(push(connection.record, bytes("'lost'")), 0);
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_TRUE(wait_for_connected(0));
    EXPECT_TRUE(is_closed(connection.number));
    EXPECT_TRUE(lines.wait_for("err:socket_send(): tcp_sendback:244,errno=32\n"));
    EXPECT_EQ(lines.all().size(), 1u);
}

/* ---- Several at once */

/* Makes every send partial and lets other threads go on in between. */
ssize_t send_little(int fd, const void *data, size_t size, int flags)
{
    static std::atomic<unsigned> turn{0};
    const unsigned now = ++turn;
    std::this_thread::yield();
    if (now % 7 == 0) {
        errno = EAGAIN;
        return -1;
    }
    return system_send.real(fd, data, std::min<size_t>(size, 1 + now % 97), flags);
}

TEST_F(Push, NeverMixesWithOtherPushesAndReplies)
{
    const Replaced send(system_send, send_little);
    const Replaced pause(system_usleep, [](useconds_t) {
        std::this_thread::yield();
        return 0;
    });
    const ListedConnection connection;
    const Bytes pushed(3000, 0x11);
    const Bytes other(40, 0x22);
    const Bytes replied(500, 0x33);
    const int rounds = 30;
    std::thread replies([&] {
        for (int i = 0; i < rounds; i++) {
            EXPECT_EQ(tcp_sendback(connection.record, 8, replied.data(), 500), 1);
        }
    });
    std::thread pushes([&] {
        for (int i = 0; i < rounds; i++) {
            EXPECT_EQ(push(connection.record, pushed), 0);
            EXPECT_EQ(push(connection.record, other), 0);
        }
    });
    const std::vector<Bytes> expected = {wire_frame(6, pushed), wire_frame(6, other),
                                         wire_frame(8, replied)};
    std::vector<int> seen(expected.size());
    for (size_t i = 0; i < expected.size() * rounds; i++) {
        const auto which =
            std::find(expected.begin(), expected.end(), read_frame(connection.phone.get()));
        if (which == expected.end()) {
            ADD_FAILURE() << "frame " << i << " is broken";
            drop(connection.record); /* the senders end */
            break;
        }
        seen[static_cast<size_t>(which - expected.begin())]++;
    }
    replies.join();
    pushes.join();
    EXPECT_TRUE(threads.are_as_before());
    EXPECT_EQ(seen, std::vector<int>(expected.size(), rounds));
}

/* ---- In the running service */

CtrlPoint name_of(const Phone &phone)
{
    CtrlPoint name = {};
    look_at(phone, [&](const CtrlPoint &record) { connection_refer(&name, &record); });
    return name;
}

class PushService : public testing::Test
{
protected:
    CapturedLines lines;
};

TEST_F(PushService, ReachesItsPhoneAndNoOther)
{
    const TcpService service;
    const Phone one;
    const Phone other;
    CtrlPoint name = name_of(one);
    ASSERT_TRUE(registered(other));
    EXPECT_EQ(push(&name, bytes("'guide'")), 0);
    EXPECT_EQ(hex(one.read_frame()), hex(wire_frame(6, bytes("'guide'"))));
    EXPECT_EQ(hex(other.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(one.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(PushService, ReachesNobodyOnceThePhoneHasGone)
{
    const TcpService service;
    Phone gone;
    CtrlPoint name = name_of(gone);
    gone.hang_up();
    ASSERT_TRUE(wait_for_connected(0));
    const Phone next;
    ASSERT_TRUE(registered(next));
    EXPECT_EQ(push(&name, bytes("'guide'")), 0);
    EXPECT_EQ(hex(next.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(PushService, DoesNotHoldUpOtherPhonesWhileOneIsStalled)
{
    const FullBuffers full;
    const CountedThreads threads;
    {
        const TcpService service;
        Phone stalled(SMALL_BUFFER);
        CtrlPoint name = name_of(stalled);
        const Phone other;
        CtrlPoint other_name = name_of(other);
        EXPECT_EQ(push(&name, Bytes(MORE_THAN_ALL_BUFFERS)), 0);
        ASSERT_TRUE(full.wait_for(3));
        EXPECT_EQ(push(&other_name, bytes("'guide'")), 0);
        EXPECT_EQ(hex(other.read_frame()), hex(wire_frame(6, bytes("'guide'"))));
        EXPECT_EQ(hex(other.exchange_heartbeat()), hex(answer_heartbeat()));
        stalled.reset();
        EXPECT_TRUE(wait_for_connected(1));
    }
}

TEST_F(PushService, SendsEventsAndPushesToAStalledPhoneOneAfterTheOther)
{
    const FullBuffers full;
    const TcpService service;
    const Phone slow(SMALL_BUFFER);
    CtrlPoint name = name_of(slow);
    const Bytes large(MORE_THAN_ALL_BUFFERS, 'l');
    EXPECT_EQ(push(&name, large), 0);
    ASSERT_TRUE(full.wait_for(3));
    slow.send(phone_heartbeat());
    EXPECT_EQ(push(&name, bytes("'small'")), 0);
    EXPECT_TRUE(slow.read_frame() == wire_frame(6, large));
    const std::set<std::string> rest = {hex(slow.read_frame()), hex(slow.read_frame())};
    EXPECT_EQ(rest, (std::set<std::string>{hex(answer_heartbeat()),
                                           hex(wire_frame(6, bytes("'small'")))}));
}

TEST_F(PushService, EndsWithTheService)
{
    const FullBuffers full;
    const std::set<int> before = open_descriptors();
    TcpService service;
    const Phone stalled(SMALL_BUFFER);
    CtrlPoint name = name_of(stalled);
    const CountedThreads threads;
    EXPECT_EQ(push(&name, Bytes(MORE_THAN_ALL_BUFFERS)), 0);
    ASSERT_TRUE(full.wait_for(3));
    service.stop();
    std::set<int> expected = before;
    expected.insert(stalled.fd());
    EXPECT_TRUE(wait_until([&] { return no_more_descriptors_than(expected); }));
    EXPECT_EQ(push(&name, bytes("'late'")), 0); /* goes nowhere */
    service.start();
    const Phone next;
    EXPECT_EQ(push(&name, bytes("'late'")), 0);
    EXPECT_EQ(hex(next.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(PushService, MayBeAskedForWhileThePhonesComeAndGo)
{
    const CountedThreads threads;
    {
        const TcpService service;
        std::atomic<bool> enough{false};
        std::atomic<int> pushed{0};
        std::thread host([&] {
            const CountedThreads between;
            CtrlPoint first = {};
            const auto somebody = [&] { return ipp_connected_ctrlpoints(&first, 1) > 0; };
            while (wait_until([&] { return enough || somebody(); }) && !enough) {
                EXPECT_EQ(push(&first, bytes("'guide'")), 0);
                EXPECT_TRUE(between.are_as_before());
                pushed++;
            }
        });
        for (int round = 0; round < 60; round++) {
            Phone phone;
            EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(6, bytes("'guide'"))));
            if (round % 2 == 0) {
                phone.reset();
            }
        }
        enough = true;
        host.join();
        EXPECT_GE(pushed, 60);
    }
}

} // namespace
