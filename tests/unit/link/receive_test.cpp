/* SPDX-License-Identifier: MIT */
#include "link/receive.h"

#include "link/connection.h"
#include "support/libc_texts.h"
#include "support/mutex_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/frame.h"
#include "tvlink/reply.h"
#include "tvlink/work_queues.h"
#include "tvlink/workers.h"
#include "unit/link/listed_connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>

namespace
{

using Texts = std::vector<std::string>;

struct FreeItem {
    bool owns_body;
    void operator()(CtrlPoint *item) const
    {
        if (owns_body) {
            std::free(item->rx_buf);
        }
        std::free(item);
    }
};

using Item = std::unique_ptr<CtrlPoint, FreeItem>;

/* The two queues without the workers. */
class Receive : public OpenRegistry
{
protected:
    void SetUp() override
    {
        if (devCallBackTid != pthread_t{0}) {
            GTEST_SKIP() << "workers of another suite would take the items away";
        }
    }

    Receive()
    {
        make(&devCallBackQueue, &devCallBackSem);
        make(&heartBeatFeedbackQueue, &heartBeatFeedbackSem);
    }

    ~Receive() override
    {
        if (!IsSkipped()) {
            requests();
            heartbeats();
        }
    }

    static void make(Queue **queue, sem_t *items)
    {
        if (*queue == nullptr) {
            *queue = newQueue(WORK_QUEUE_CAPACITY);
            sem_init(items, 0, 0);
        }
    }

    static Item next_request()
    {
        return next(devCallBackQueue, &devCallBackSem, true);
    }

    static Item next_heartbeat()
    {
        return next(heartBeatFeedbackQueue, &heartBeatFeedbackSem, false);
    }

    /* The bodies of all queued requests, oldest first. */
    static Texts requests()
    {
        Texts result;
        for (Item item = next_request(); item; item = next_request()) {
            result.push_back(hex(item->rx_buf, item->rx_cap));
        }
        return result;
    }

    static int heartbeats()
    {
        int count = 0;
        while (next_heartbeat()) {
            count++;
        }
        return count;
    }

    /* All of these bytes wait on the socket when the record receives. */
    static void receive(const ListedConnection &connection, const Bytes &data)
    {
        send_bytes(connection.phone.get(), data);
        ASSERT_TRUE(wait_until([&] { return bytes_arriving(connection.number) == data.size(); }));
        receive_ctrlpoint_packet(connection.record);
    }

    static std::string buffer(const ListedConnection &connection)
    {
        const CtrlPoint *record = connection.record;
        return "cap " + std::to_string(record->rx_cap) + " fill " +
               std::to_string(record->rx_fill) + " pos " + std::to_string(record->rx_pos);
    }

    ListedConnection connection{local_pair()};

private:
    static Item next(Queue *queue, sem_t *items, bool owns_body)
    {
        CtrlPoint *item = static_cast<CtrlPoint *>(dequeue(queue));
        EXPECT_EQ(sem_trywait(items), item != nullptr ? 0 : -1);
        return Item(item, FreeItem{owns_body});
    }
};

Bytes part(const Bytes &whole, size_t from, size_t to)
{
    return Bytes(whole.begin() + static_cast<std::ptrdiff_t>(from),
                 whole.begin() + static_cast<std::ptrdiff_t>(to));
}

Bytes with(Bytes frame, size_t at, uint8_t value)
{
    frame[at] = value;
    return frame;
}

Bytes with_length(Bytes frame, uint32_t length)
{
    for (size_t i = 0; i < 4; i++) {
        frame[3 + i] = static_cast<uint8_t>(length >> (8 * i));
    }
    return frame;
}

const Bytes ONE = wire_frame(5, bytes("'one'"));
const Bytes TWO = wire_frame(7, bytes("'second'"));
const std::string ONE_BODY = hex(bytes("05 'one'"));
const std::string TWO_BODY = hex(bytes("07 'second'"));

} // namespace

/* ---- Frames */

TEST_F(Receive, QueuesTwoFramesOfOneReadInOrder)
{
    receive(connection, joined({ONE, TWO}));
    EXPECT_EQ(requests(), Texts({ONE_BODY, TWO_BODY}));
}

TEST_F(Receive, QueuesAFrameThatArrivesInTwoReadsAfterTheSecond)
{
    receive(connection, part(ONE, 0, 40));
    EXPECT_EQ(requests(), Texts());
    receive(connection, part(ONE, 40, ONE.size()));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, UnderstandsAStreamThatIsCutAnywhere)
{
    const Bytes bad = with(wire_frame(5, bytes("'bad'")), 0, 0x5A);
    const Bytes stream = joined({ONE, bad, TWO, phone_heartbeat(), wire_frame(0x0A, {})});
    for (size_t cut = 1; cut < stream.size(); cut++) {
        const ListedConnection fresh(local_pair());
        receive(fresh, part(stream, 0, cut));
        receive(fresh, part(stream, cut, stream.size()));
        ASSERT_EQ(requests(), Texts({ONE_BODY, TWO_BODY, "0A"})) << "cut at " << cut;
        ASSERT_EQ(heartbeats(), 1) << "cut at " << cut;
    }
}

TEST_F(Receive, UnderstandsAStreamThatArrivesByteByByte)
{
    for (const uint8_t byte : joined({ONE, phone_heartbeat(), TWO})) {
        receive(connection, {byte});
    }
    EXPECT_EQ(requests(), Texts({ONE_BODY, TWO_BODY}));
    EXPECT_EQ(heartbeats(), 1);
}

TEST_F(Receive, WaitsForTheLengthField)
{
    for (size_t size = 1; size < 7; size++) {
        const ListedConnection fresh(local_pair());
        receive(fresh, part(ONE, 0, size));
        EXPECT_EQ(fresh.record->rx_pos, 0u);
        EXPECT_EQ(fresh.record->rx_fill, size);
        EXPECT_EQ(requests(), Texts());
        receive(fresh, part(ONE, size, ONE.size()));
        EXPECT_EQ(requests(), Texts({ONE_BODY}));
    }
}

TEST_F(Receive, WaitsForTheLengthFieldAlsoBehindAFrame)
{
    for (size_t size = 1; size < 7; size++) {
        const ListedConnection fresh(local_pair());
        receive(fresh, joined({ONE, part(TWO, 0, size)}));
        EXPECT_EQ(fresh.record->rx_pos, ONE.size());
        EXPECT_EQ(fresh.record->rx_fill, ONE.size() + size);
        EXPECT_EQ(requests(), Texts({ONE_BODY}));
        receive(fresh, part(TWO, size, TWO.size()));
        EXPECT_EQ(requests(), Texts({TWO_BODY}));
    }
}

TEST_F(Receive, MakesABodyOfOneByteFromAFrameOf72)
{
    receive(connection, wire_frame(0x0A, {}));
    const Item item = next_request();
    ASSERT_TRUE(item);
    EXPECT_EQ(item->rx_cap, 1u);
    EXPECT_EQ(item->rx_buf[0], 0x0A);
}

TEST_F(Receive, QueuesEveryTypeButTheHeartbeatAsARequest)
{
    for (int type = 0; type < 256; type++) {
        receive(connection, wire_frame(static_cast<uint8_t>(type), bytes("99")));
        if (type == 0xEE) {
            EXPECT_EQ(requests(), Texts());
            EXPECT_EQ(heartbeats(), 1);
        } else {
            EXPECT_EQ(requests(), Texts({hex(Bytes{static_cast<uint8_t>(type), 0x99})}));
            EXPECT_EQ(heartbeats(), 0);
        }
    }
}

TEST_F(Receive, ChecksTheFirstTwoBytesOnly)
{
    Bytes reserved = with(with(ONE, 7, 0xFF), 49, 0xFF);
    reserved = with(with(reserved, ONE.size() - 21, 0xFF), ONE.size() - 2, 0xFF);
    receive(connection, with(ONE, 2, 0));
    receive(connection, with(ONE, ONE.size() - 1, static_cast<uint8_t>(ONE.back() + 1)));
    receive(connection, reserved);
    EXPECT_EQ(requests(), Texts({ONE_BODY, ONE_BODY, ONE_BODY}));
}

TEST_F(Receive, SkipsAFrameWithoutItsMagicByItsOwnLength)
{
    receive(connection, joined({with(ONE, 0, 0xA4), TWO}));
    receive(connection, joined({with(ONE, 1, 0xA4), TWO}));
    receive(connection, joined({with(phone_heartbeat(), 0, 0), TWO}));
    EXPECT_EQ(requests(), Texts({TWO_BODY, TWO_BODY, TWO_BODY}));
    EXPECT_EQ(heartbeats(), 0);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Receive, DropsTheRestOfTheBufferForALengthOfZero)
{
    receive(connection, joined({ONE, with_length(TWO, 0), TWO}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(connection.record->rx_pos, connection.record->rx_fill);
    receive(connection, TWO);
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
}

TEST_F(Receive, SkipsAFrameThatIsShorterThanAFrameCanBe)
{
    for (uint32_t length = 7; length < 72; length++) {
        const Bytes tiny = part(with_length(wire_frame(5, {}), length), 0, length);
        receive(connection, joined({tiny, ONE}));
        EXPECT_EQ(requests(), Texts({ONE_BODY})) << "length " << length;
        EXPECT_EQ(connection.record->rx_pos, connection.record->rx_fill);
    }
}

/* Up to 6 bytes are skipped, so that the next frame begins inside the length field. */
TEST_F(Receive, SkipsAFrameThatIsShorterThanItsLengthField)
{
    for (uint32_t length = 2; length < 7; length++) {
        const ListedConnection fresh(local_pair());
        Bytes stream = with_length(Bytes(7), length);
        stream.resize(length + 7);
        size_t second = 72;
        if (length == 2) { /* of its length field only the upper bytes are free */
            stream[length + 5] = 0x01;
            second = 0x10000;
        } else if (length == 3) {
            stream[length + 4] = 0x01;
            second = 0x100;
        } else {
            stream[length + 3] = 72;
        }
        stream.resize(length + second);
        receive(fresh, joined({stream, ONE}));
        EXPECT_EQ(requests(), Texts({ONE_BODY})) << "length " << length;
    }
}

TEST_F(Receive, MeetsALengthOfZeroOneByteBehindALengthOfOne)
{
    receive(connection, joined({with_length(Bytes(8), 1), ONE}));
    EXPECT_EQ(requests(), Texts());
    receive(connection, ONE);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, TakesNoMoreMemoryForAHugeLengthThanArrives)
{
    for (const uint32_t length : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu}) {
        const ListedConnection fresh(local_pair());
        receive(fresh, part(with_length(ONE, length), 0, 50));
        EXPECT_EQ(buffer(fresh), "cap 50 fill 50 pos 0");
        for (int round = 1; round <= 20; round++) {
            receive(fresh, Bytes(1000, 0xA5));
            const std::string size = std::to_string(50 + 1000 * round);
            ASSERT_EQ(buffer(fresh), "cap " + size + " fill " + size + " pos 0");
        }
        EXPECT_TRUE(is_listed(fresh.record));
    }
    EXPECT_EQ(requests(), Texts());
}

TEST_F(Receive, HandsALargeFrameOnWhole)
{
    Bytes payload(200000);
    for (size_t i = 0; i < payload.size(); i++) {
        payload[i] = static_cast<uint8_t>(i * 7);
    }
    const Bytes frame = wire_frame(7, payload);
    for (size_t at = 0; at < frame.size(); at += 30000) {
        receive(connection, part(frame, at, std::min(frame.size(), at + 30000)));
    }
    const Item item = next_request();
    ASSERT_TRUE(item);
    EXPECT_TRUE(Bytes(item->rx_buf, item->rx_buf + item->rx_cap) == joined({bytes("07"), payload}));
}

/* ---- The buffer */

TEST_F(Receive, GrowsTheBufferToJustWhatItMustHold)
{
    const Bytes frame = wire_frame(0x0A, {});
    const Bytes stream = joined({frame, frame, frame, frame, frame, frame});
    EXPECT_EQ(buffer(connection), "cap 0 fill 0 pos 0");
    const std::vector<std::pair<size_t, std::string>> steps = {
        {10, "cap 10 fill 10 pos 0"},     {62, "cap 72 fill 72 pos 72"},
        {50, "cap 72 fill 50 pos 0"},     {52, "cap 102 fill 102 pos 72"},
        {40, "cap 102 fill 70 pos 0"},    {2, "cap 102 fill 72 pos 72"},
        {102, "cap 102 fill 102 pos 72"}, {42, "cap 102 fill 72 pos 72"},
        {72, "cap 102 fill 72 pos 72"},
    };
    size_t at = 0;
    for (const auto &[size, expected] : steps) {
        receive(connection, part(stream, at, at + size));
        at += size;
        EXPECT_EQ(buffer(connection), expected) << "after " << at << " bytes";
    }
    EXPECT_EQ(at, stream.size());
    EXPECT_EQ(requests(), Texts(6, "0A"));
    receive(connection, joined({frame, frame, part(frame, 0, 56)}));
    EXPECT_EQ(buffer(connection), "cap 200 fill 200 pos 144");
}

TEST_F(Receive, LeavesEverythingAsItIsWhenNothingHasArrived)
{
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(buffer(connection), "cap 0 fill 0 pos 0");
    receive(connection, part(ONE, 0, 40));
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(buffer(connection), "cap 40 fill 40 pos 0");
    WatchedCall asking(system_ioctl);
    asking.fail(EINVAL);
    send_bytes(connection.phone.get(), part(ONE, 40, ONE.size()));
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(buffer(connection), "cap 40 fill 40 pos 0");
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, LeavesTheBytesOnTheSocketWhenMemoryIsOutAndDoesNotSpin)
{
    receive(connection, part(ONE, 0, 40));
    {
        WatchedCall allocation(system_realloc);
        allocation.fail(ENOMEM);
        const TakenSleeps sleeps;
        receive(connection, part(ONE, 40, ONE.size()));
        EXPECT_EQ(sleeps.all(), std::vector<uint64_t>({10000}));
    }
    EXPECT_EQ(buffer(connection), "cap 40 fill 40 pos 0");
    EXPECT_EQ(bytes_arriving(connection.number), ONE.size() - 40);
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, LosesOnlyTheFramesForWhichThereIsNoMemory)
{
    const Bytes beat = phone_heartbeat();
    receive(connection, part(ONE, 0, 1)); /* the buffer is there */
    WatchedCall allocation(system_malloc);
    allocation.fail(ENOMEM, 1, 1); /* the body */
    receive(connection, joined({part(ONE, 1, ONE.size()), TWO}));
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
    allocation.fail(ENOMEM, 2, 1); /* the item */
    receive(connection, joined({ONE, TWO}));
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
    allocation.fail(ENOMEM, 1, 1);
    receive(connection, joined({beat, beat}));
    EXPECT_EQ(heartbeats(), 1);
    drop(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

/* ---- The items */

TEST_F(Receive, QueuesARequestWithACopyOfItsSender)
{
    receive(connection, ONE);
    const Item item = next_request();
    ASSERT_TRUE(item);
    const CtrlPoint *record = connection.record;
    EXPECT_NE(item.get(), record);
    EXPECT_NE(item->rx_buf, record->rx_buf);
    EXPECT_EQ(hex(item->rx_buf, item->rx_cap), ONE_BODY);
    EXPECT_EQ(item->fd, record->fd);
    EXPECT_EQ(item->peer_addr, record->peer_addr);
    EXPECT_EQ(item->rx_fill, record->rx_fill);
    EXPECT_EQ(item->connect_time, record->connect_time);
    EXPECT_EQ(item->last_active, record->last_active);
    EXPECT_EQ(item->idle_limit, 30);
}

TEST_F(Receive, QueuesAHeartbeatWithAnUnchangedCopyOfItsSender)
{
    receive(connection, joined({phone_heartbeat(), part(ONE, 0, 20)}));
    const Item item = next_heartbeat();
    ASSERT_TRUE(item);
    EXPECT_EQ(item->rx_buf, connection.record->rx_buf);
    EXPECT_EQ(item->rx_cap, 92u);
    EXPECT_EQ(item->rx_fill, 92u);
    EXPECT_EQ(item->fd, connection.number);
}

TEST_F(Receive, DropsFramesForWhichTheirQueueHasNoRoom)
{
    Bytes flood;
    for (uint8_t i = 0; i < 51; i++) {
        flood = joined({flood, wire_frame(5, {i}), wire_frame(0xEE, {i})});
    }
    receive(connection, flood);
    EXPECT_EQ(lines.out(), Texts(4, "queue is full.\n"));
    const Texts queued = requests();
    ASSERT_EQ(queued.size(), 49u);
    EXPECT_EQ(queued.front(), "05 00");
    EXPECT_EQ(queued.back(), "05 30");
    EXPECT_EQ(heartbeats(), 49);
    drop(connection.record); /* nothing refers to it any more */
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Receive, KeepsTheNumberForNoQueuedItem)
{
    receive(connection, joined({ONE, phone_heartbeat()}));
    drop(connection.record);
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(heartbeats(), 1);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, AnswersAHostsOwnRecordOnItsOwnSocket)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    Bytes stream = joined({ONE, TWO});
    record.rx_buf = stream.data();
    record.rx_cap = record.rx_fill = static_cast<uint32_t>(stream.size());
    handle_ctrlpoint_request(&record);
    EXPECT_EQ(record.rx_pos, stream.size());
    const Item item = next_request();
    ASSERT_TRUE(item);
    EXPECT_EQ(tcp_sendback(item.get(), 6, "a", 1), 1);
    EXPECT_EQ(tcp_sendback(&record, 6, "b", 1), 1);
    EXPECT_EQ(hex(read_frame(own.far.get())), hex(wire_frame(6, bytes("'a'"))));
    EXPECT_EQ(hex(read_frame(own.far.get())), hex(wire_frame(6, bytes("'b'"))));
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
}

TEST_F(Receive, QueuesWithoutTheRegistry)
{
    send_bytes(connection.phone.get(), joined({ONE, phone_heartbeat()}));
    registry_lock();
    std::thread receiver([this] { receive_ctrlpoint_packet(connection.record); });
    receiver.join();
    registry_unlock();
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(heartbeats(), 1);
}

TEST_F(Receive, HoldsOnlyTheQueuesOwnLockWhileItQueues)
{
    const Bytes stream = joined({ONE, phone_heartbeat()});
    std::vector<std::string> held;
    const Replaced lock(system_pthread_mutex_lock, [&](pthread_mutex_t *mutex) {
        if (mutex == &devCallBackMutex || mutex == &heartBeatFeedbackMutex) {
            const bool alone = !held_by_this_thread(g_cp_list_mutex) &&
                               !held_by_this_thread(connection.record->send_lock) &&
                               !held_by_this_thread(devCallBackMutex) &&
                               !held_by_this_thread(heartBeatFeedbackMutex);
            held.push_back(std::string(mutex == &devCallBackMutex ? "request" : "heartbeat") +
                           (alone ? "" : " and another"));
        }
        return system_pthread_mutex_lock.real(mutex);
    });
    receive(connection, stream);
    EXPECT_EQ(held, Texts({"request", "heartbeat"}));
}

/* ---- Reading */

namespace
{

/* What one read does: a positive number takes so many bytes at most, 0 is the end of the stream, a
 * negative one an errno. */
using Reads = std::vector<int>;

/* Plays the reads, then leaves the rest to the system; notes what is asked for and the option. */
class ScriptedReads
{
public:
    explicit ScriptedReads(Reads reads) : reads_(std::move(reads))
    {
    }

    Texts notes;
    int errno_of_option = 0; /* what the failing call of the option leaves */

private:
    ssize_t read(int fd, void *to, size_t size, int flags)
    {
        notes.push_back("recv " + std::to_string(size));
        const int now = next_ < reads_.size() ? reads_[next_++] : static_cast<int>(size);
        errno = now < 0 ? -now : 0;
        return now > 0 ? system_recv.real(fd, to, std::min(size, static_cast<size_t>(now)), flags)
                       : (now < 0 ? -1 : 0);
    }

    int set_option(int fd, int level, int name, const void *value, socklen_t size)
    {
        const int result = system_setsockopt.real(fd, level, name, value, size);
        const bool as_designed = level == IPPROTO_TCP && name == TCP_QUICKACK &&
                                 value == reinterpret_cast<const void *>(1) && result == -1;
        notes.push_back(as_designed ? "option" : "something else");
        errno = errno_of_option;
        return result;
    }

    const Reads reads_;
    size_t next_ = 0;
    const Replaced<decltype(system_recv)> recv_{
        system_recv,
        [this](int fd, void *to, size_t size, int flags) { return read(fd, to, size, flags); }};
    const Replaced<decltype(system_setsockopt)> option_{
        system_setsockopt, [this](int fd, int level, int name, const void *value, socklen_t size) {
            return set_option(fd, level, name, value, size);
        }};
};

} // namespace

TEST_F(Receive, ReadsUntilAllThatWaitedHasArrived)
{
    send_bytes(connection.phone.get(), joined({ONE, TWO}));
    ScriptedReads reads({30, 1});
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(reads.notes,
              Texts({"recv 153", "option", "recv 123", "option", "recv 122", "option"}));
    EXPECT_EQ(requests(), Texts({ONE_BODY, TWO_BODY}));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Receive, AsksAfterEveryReadForAnOptionThatNeverComesIntoForce)
{
    const ListedConnection over_tcp;
    send_bytes(over_tcp.phone.get(), ONE);
    ASSERT_TRUE(wait_until([&] { return bytes_arriving(over_tcp.number) == ONE.size(); }));
    ScriptedReads reads({});
    receive_ctrlpoint_packet(over_tcp.record);
    EXPECT_EQ(reads.notes, Texts({"recv 75", "option"}));
}

TEST_F(Receive, TriesAgainForASignalOrAnEmptySocketAndPrintsTheReason)
{
    send_bytes(connection.phone.get(), ONE);
    ScriptedReads reads({-EINTR, 30, -EAGAIN});
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(lines.err(), Texts({"recv: Interrupted system call\n",
                                  "recv: Resource temporarily unavailable\n"}));
    EXPECT_TRUE(lines.out().empty());
}

TEST_F(Receive, StopsReadingAtAHardErrorAndKeepsWhatHasArrived)
{
    send_bytes(connection.phone.get(), joined({ONE, TWO}));
    {
        ScriptedReads reads({static_cast<int>(ONE.size()) + 10, -ECONNRESET});
        receive_ctrlpoint_packet(connection.record);
        EXPECT_EQ(reads.notes.size(), 4u);
    }
    EXPECT_EQ(lines.err(), Texts({"recv: Connection reset by peer\n"}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(connection.record->rx_fill, ONE.size() + 10);
    EXPECT_TRUE(is_listed(connection.record)); /* the server finds out by itself */
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
}

TEST_F(Receive, StopsReadingAtTheEndOfTheStreamAndKeepsWhatHasArrived)
{
    send_bytes(connection.phone.get(), joined({ONE, TWO}));
    ScriptedReads reads({static_cast<int>(ONE.size()) + 10, 0});
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(reads.notes.size(), 4u);
    EXPECT_EQ(lines.err(), Texts({"recv: " + NO_ERROR + "\n"}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_TRUE(is_listed(connection.record));
}

TEST_F(Receive, JudgesAReadByItsOwnErrorNotByThatOfTheOption)
{
    send_bytes(connection.phone.get(), ONE);
    ScriptedReads reads({-ECONNRESET});
    reads.errno_of_option = EAGAIN;
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(reads.notes, Texts({"recv 75", "option"}));
    EXPECT_EQ(lines.err(), Texts({"recv: Connection reset by peer\n"}));
    lines.clear();
    ScriptedReads more({-EAGAIN});
    more.errno_of_option = EINVAL;
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(lines.err(), Texts({"recv: Resource temporarily unavailable\n"}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
}

TEST_F(Receive, EndsWhenTheServiceStops)
{
    send_bytes(connection.phone.get(), ONE);
    flags_stop_running();
    ScriptedReads reads(Reads(1000, -EAGAIN));
    receive_ctrlpoint_packet(connection.record);
    EXPECT_EQ(reads.notes, Texts({"recv 75", "option"}));
}

TEST_F(Receive, NotesWhenSomethingArrived)
{
    FrozenClock clock;
    connection.record->last_active = 5;
    receive(connection, part(ONE, 0, 1));
    EXPECT_EQ(connection.record->last_active, clock.now());
    clock.advance(17);
    receive(connection, part(ONE, 1, 2));
    EXPECT_EQ(connection.record->last_active, clock.now());
    const uint32_t before = clock.now();
    clock.advance(1);
    receive_ctrlpoint_packet(connection.record);
    {
        send_bytes(connection.phone.get(), part(ONE, 2, 3));
        ScriptedReads reads({-ECONNRESET});
        receive_ctrlpoint_packet(connection.record);
    }
    EXPECT_EQ(connection.record->last_active, before);
}

TEST_F(Receive, NotesForEachPartOfAReadWhenItArrived)
{
    FrozenClock clock;
    const uint32_t begin = clock.now();
    connection.record->last_active = begin;
    std::vector<uint32_t> active;
    const Replaced recv(system_recv, [&](int fd, void *to, size_t size, int flags) {
        active.push_back(connection.record->last_active - begin);
        clock.advance(7);
        return system_recv.real(fd, to, std::min(size, size_t{30}), flags);
    });
    receive(connection, ONE);
    active.push_back(connection.record->last_active - begin);
    EXPECT_EQ(active, (std::vector<uint32_t>{0, 7, 14, 21}));
}

/* ---- The guard's longest frame */

namespace
{

class ReceiveBounded : public Receive
{
protected:
    ReceiveBounded()
    {
        IppGuard guard = {};
        guard.max_frame_length = 100;
        EXPECT_EQ(ipp_set_guard(&guard), 0);
    }

    static Bytes frame_of(size_t size)
    {
        return wire_frame(5, Bytes(size - 72));
    }
};

} // namespace

TEST_F(ReceiveBounded, TakesFramesBelowAndAtTheLimit)
{
    receive(connection, joined({frame_of(99), frame_of(100)}));
    EXPECT_EQ(requests().size(), 2u);
    EXPECT_TRUE(is_listed(connection.record));
}

TEST_F(ReceiveBounded, HoldsNoMoreThanTheLongestFrameHoweverMuchArrives)
{
    Bytes stream;
    Texts bodies;
    for (int i = 0; i < 20; i++) {
        stream = joined({stream, ONE, phone_heartbeat(), TWO});
        bodies.insert(bodies.end(), {ONE_BODY, TWO_BODY});
    }
    receive(connection, joined({stream, part(frame_of(100), 0, 99)}));
    EXPECT_EQ(requests(), bodies);
    EXPECT_EQ(heartbeats(), 20);
    EXPECT_EQ(connection.record->rx_cap, 100u);
    receive(connection, part(frame_of(100), 99, 100));
    EXPECT_EQ(requests().size(), 1u);
}

TEST_F(ReceiveBounded, DropsAllThatArrivesTogetherBehindALengthOfZero)
{
    const Bytes filler(3 * 100 - ONE.size() - TWO.size());
    receive(connection, joined({ONE, with_length(TWO, 0), filler, TWO, frame_of(101)}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(connection.record->rx_pos, connection.record->rx_fill);
    EXPECT_EQ(bytes_arriving(connection.number), 0u);
    EXPECT_TRUE(is_listed(connection.record));
    receive(connection, TWO);
    EXPECT_EQ(requests(), Texts({TWO_BODY}));
}

TEST_F(ReceiveBounded, ReadsNothingBehindAnAnnouncementOfMore)
{
    hold_record(connection.record);
    receive(connection, joined({frame_of(101), ONE}));
    EXPECT_EQ(bytes_arriving(connection.number), 1 + ONE.size());
    release_record(connection.record);
}

TEST_F(ReceiveBounded, DropsAConnectionThatAnnouncesMore)
{
    hold_record(connection.record); /* as the server thread does */
    receive(connection, joined({ONE, part(frame_of(101), 0, 7)}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_FALSE(is_listed(connection.record));
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    release_record(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(ReceiveBounded, TakesNothingBehindAnAnnouncementOfMore)
{
    receive(connection, joined({frame_of(101), ONE}));
    EXPECT_EQ(requests(), Texts());
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(ReceiveBounded, DropsAlsoAFrameThatWouldBeSkipped)
{
    receive(connection, with(frame_of(101), 0, 0));
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(ReceiveBounded, JudgesOnlyALengthThatIsComplete)
{
    receive(connection, part(with_length(ONE, 0xFFFFFFFF), 0, 6));
    EXPECT_TRUE(is_listed(connection.record));
    receive(connection, bytes("FF"));
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(ReceiveBounded, HasNoLimitOnceTheHostTakesItAway)
{
    ASSERT_EQ(ipp_set_guard(nullptr), 0);
    receive(connection, frame_of(5000));
    EXPECT_EQ(requests().size(), 1u);
    EXPECT_TRUE(is_listed(connection.record));
}

TEST_F(ReceiveBounded, GoesByOneLimitForAllThatArrivesTogether)
{
    /* The host takes the limit away while the first request is queued. */
    const Replaced lock(system_pthread_mutex_lock, [](pthread_mutex_t *mutex) {
        if (mutex == &g_cp_list_mutex) {
            ipp_set_guard(nullptr);
        }
        return system_pthread_mutex_lock.real(mutex);
    });
    receive(connection, joined({ONE, frame_of(101)}));
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(ReceiveBounded, OnlySplittingDropsNobody)
{
    const Bytes stream = joined({ONE, frame_of(101), TWO});
    CtrlPoint *record = connection.record;
    record->rx_buf = static_cast<uint8_t *>(std::malloc(stream.size()));
    std::memcpy(record->rx_buf, stream.data(), stream.size());
    record->rx_cap = record->rx_fill = static_cast<uint32_t>(stream.size());
    handle_ctrlpoint_request(record);
    EXPECT_EQ(requests(), Texts({ONE_BODY}));
    EXPECT_EQ(record->rx_pos, ONE.size());
    EXPECT_TRUE(is_listed(record));
}

/* ---- The log */

TEST_F(Receive, PrintsWithNoLockHeld)
{
    struct Check {
        CtrlPoint *record;
        int lines;
        int held;
    } check = {connection.record, 0, 0};
    Bytes flood;
    for (int i = 0; i < 50; i++) {
        flood = joined({flood, ONE, phone_heartbeat()});
    }
    ipp_set_log_sink(
        [](int, const char *, void *context) {
            Check *to = static_cast<Check *>(context);
            const pthread_mutex_t *locks[] = {&g_cp_list_mutex, &devCallBackMutex,
                                              &heartBeatFeedbackMutex, &to->record->send_lock};
            to->lines++;
            for (const pthread_mutex_t *lock : locks) {
                to->held += held_by_this_thread(*lock) ? 1 : 0;
            }
        },
        &check);
    receive(connection, flood);
    ipp_set_log_sink(nullptr, nullptr);
    EXPECT_EQ(check.lines, 2);
    EXPECT_EQ(check.held, 0);
}
