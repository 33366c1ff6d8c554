/* SPDX-License-Identifier: MIT */
/* Under the guard's send_backlog_bytes a thread of its own compresses a long list. The tests hold
 * this thread where it begins, and let it run on their own. */
#include "link/backlog.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/wire.h"
#include "tvlink.h"
#include "tvlink/handlers.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"

#include <cstdlib>
#include <cstring>
#include <functional>

#include <poll.h>

namespace
{

const uint32_t LONGEST_SHORT_LIST = 256 * 1024;
const char EPIPE_LINE[] = "err:socket_send(): tcp_sendback:244,errno=32\n";
const std::string ENOBUFS_LINE =
    "err:socket_send(): tcp_sendback:244,errno=" + std::to_string(ENOBUFS) + "\n";

uint32_t list_length = 0;

void *give_list(uint16_t *count)
{
    uint32_t *header = static_cast<uint32_t *>(std::calloc(1, 8 + size_t{list_length}));
    header[0] = 1;
    header[1] = list_length;
    *count = 7;
    return header + 2;
}

/* Threads that have been created and not begun. */
class HeldThreads
{
public:
    size_t count() const
    {
        return bodies_.size();
    }

    void run_first()
    {
        const std::function<void()> body = bodies_.front();
        bodies_.erase(bodies_.begin());
        body();
    }

private:
    std::vector<std::function<void()>> bodies_;
    const Replaced<decltype(system_pthread_create)> creation_{
        system_pthread_create,
        [this](pthread_t *, const pthread_attr_t *, void *(*body)(void *), void *argument) {
            bodies_.emplace_back([body, argument] { body(argument); });
            return 0;
        }};
};

class LongLists : public OpenRegistry
{
protected:
    LongLists()
    {
        table_.get_tv_channelcode = give_list;
        register_tv_method(&table_);
        list_length = LONGEST_SHORT_LIST + 1;
        keep(1000);
    }

    ~LongLists() override
    {
        register_tv_method(nullptr);
    }

    static void keep(uint32_t bytes)
    {
        IppGuard guard = {};
        guard.send_backlog_bytes = bytes;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    static int ask_for_list(const ListedConnection &connection)
    {
        Bytes request = bytes("01 00 30");
        return handle_get_tv_channelcode(connection.record, request.data(),
                                         static_cast<int32_t>(request.size()));
    }

    /* What is sent without a thread. */
    static std::string list_frame()
    {
        const HeldThreads none;
        EXPECT_EQ(ipp_set_guard(nullptr), 0);
        const ListedConnection connection(local_pair());
        EXPECT_EQ(ask_for_list(connection), 0);
        EXPECT_EQ(none.count(), 0u);
        const std::string frame = hex(read_frame(connection.phone.get()));
        registry_remove(connection.record);
        keep(1000);
        return frame;
    }

    static std::string next_frame(const ListedConnection &connection)
    {
        return hex(read_frame(connection.phone.get()));
    }

    static int reply(const ListedConnection &connection, uint8_t number, size_t size = 4)
    {
        const Bytes payload(size, number);
        return tcp_sendback(connection.record, FRAME_GET_REPLY, payload.data(),
                            static_cast<int32_t>(size));
    }

    static std::string reply_frame(uint8_t number)
    {
        return hex(wire_frame(FRAME_GET_REPLY, Bytes(4, number)));
    }

    /* It is closed, keeps nothing, and this is all that was printed. */
    void expect_end(const ListedConnection &connection, const std::string &line) const
    {
        EXPECT_FALSE(is_open(connection.number));
        EXPECT_EQ(backlog_total(), 0u);
        EXPECT_EQ(lines.out(), std::vector<std::string>{line});
        EXPECT_EQ(lines.all().size(), 1u);
    }

    static std::string empty_frame()
    {
        return hex(wire_frame(FRAME_GET_REPLY, bytes("01 00 30 A3 00 00 00 00")));
    }

private:
    TvMethodTable table_ = {};
};

} // namespace

TEST_F(LongLists, KeepTheirPlaceAmongTheRepliesToTheirPhone)
{
    const std::string list = list_frame();
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    const ListedConnection other(local_pair());
    EXPECT_EQ(reply(connection, 1), 1);
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(threads.count(), 1u);
    EXPECT_EQ(reply(connection, 2), 1);
    EXPECT_EQ(reply(connection, 3), 1);
    EXPECT_EQ(reply(other, 4), 1);
    EXPECT_EQ(next_frame(other), reply_frame(4));
    EXPECT_EQ(next_frame(connection), reply_frame(1));
    pollfd entry = {connection.phone.get(), POLLIN, 0};
    EXPECT_EQ(poll(&entry, 1, 0), 0) << "the list has been overtaken";
    threads.run_first();
    EXPECT_EQ(next_frame(connection), list);
    EXPECT_EQ(next_frame(connection), reply_frame(2));
    EXPECT_EQ(next_frame(connection), reply_frame(3));
    EXPECT_EQ(reply(connection, 5), 1);
    EXPECT_EQ(next_frame(connection), reply_frame(5));
    EXPECT_EQ(backlog_total(), 0u);
    EXPECT_TRUE(lines.all().empty());
}

/* The server thread would find it ready again and again. */
TEST_F(LongLists, AreNothingToSendBeforeTheyAreMade)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(reply(connection, 2), 1);
    registry_lock();
    EXPECT_FALSE(connection_is_waiting(connection.record));
    registry_unlock();
    threads.run_first();
}

TEST_F(LongLists, AreCompressedOneAtATime)
{
    const std::string list = list_frame();
    HeldThreads threads;
    const ListedConnection first(local_pair());
    const ListedConnection second(local_pair());
    EXPECT_EQ(ask_for_list(first), 0);
    EXPECT_EQ(ask_for_list(second), 0);
    EXPECT_EQ(next_frame(second), list) << "it has waited for the first";
    EXPECT_EQ(threads.count(), 1u);
    threads.run_first();
    EXPECT_EQ(next_frame(first), list);
    EXPECT_EQ(ask_for_list(second), 0);
    EXPECT_EQ(threads.count(), 1u);
    threads.run_first();
    EXPECT_EQ(next_frame(second), list);
}

TEST_F(LongLists, OfOnePhoneStayInOrder)
{
    const std::string list = list_frame();
    keep(10000);
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(reply(connection, 2), 1);
    threads.run_first();
    EXPECT_EQ(next_frame(connection), list);
    EXPECT_EQ(next_frame(connection), list);
    EXPECT_EQ(next_frame(connection), reply_frame(2));
}

TEST_F(LongLists, AreCompressedAtOnceWhenTheyAreShortOrNothingIsKept)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    list_length = LONGEST_SHORT_LIST;
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(read_frame(connection.phone.get())[54], 0xA5);
    list_length++;
    EXPECT_EQ(ipp_set_guard(nullptr), 0);
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(read_frame(connection.phone.get())[54], 0xA5);
    EXPECT_EQ(threads.count(), 0u);
}

TEST_F(LongLists, AreCompressedAtOnceForAHostsOwnRecord)
{
    const std::string list = list_frame();
    HeldThreads threads;
    ConnectedPair pair = local_pair();
    HandMadeRecord record(pair.far.get());
    Bytes request = bytes("01 00 30");
    EXPECT_EQ(handle_get_tv_channelcode(&record, request.data(), 3), 0);
    EXPECT_EQ(hex(read_frame(pair.near.get())), list);
    EXPECT_EQ(threads.count(), 0u);
}

TEST_F(LongLists, AreCompressedAtOnceWithoutMemoryOrAThread)
{
    const std::string list = list_frame();
    const ListedConnection connection(local_pair());
    for (SystemFunction *function : {static_cast<SystemFunction *>(&system_pthread_create),
                                     static_cast<SystemFunction *>(&system_malloc)}) {
        WatchedCall failing(*function);
        failing.fail(EAGAIN);
        EXPECT_EQ(ask_for_list(connection), 0);
        EXPECT_EQ(failing.calls() > 0, true);
        EXPECT_EQ(next_frame(connection), list);
        EXPECT_EQ(backlog_total(), 0u);
    }
    const HeldThreads threads;
    EXPECT_EQ(reply(connection, 2), 1) << "the place is still reserved";
    EXPECT_EQ(next_frame(connection), reply_frame(2));
}

TEST_F(LongLists, BecomeEmptyWithoutMemory)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(reply(connection, 2), 1);
    {
        WatchedCall memory(system_calloc);
        memory.fail(ENOMEM);
        threads.run_first();
    }
    EXPECT_EQ(next_frame(connection), empty_frame());
    EXPECT_EQ(next_frame(connection), reply_frame(2));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(LongLists, EndTheirConnectionWhenTheyCannotBeKept)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(reply(connection, 2), 1);
    keep(1); /* four bytes for all together */
    threads.run_first();
    EXPECT_FALSE(is_listed(connection.record));
    expect_end(connection, ENOBUFS_LINE);
}

TEST_F(LongLists, AreLostWithALineWhenTheirPhoneHasLeft)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    EXPECT_EQ(reply(connection, 2), 1);
    registry_remove(connection.record);
    EXPECT_TRUE(is_open(connection.number)) << "the number may be that of another phone";
    threads.run_first();
    expect_end(connection, EPIPE_LINE);
}

TEST_F(LongLists, AreDroppedWhenTheServiceStops)
{
    HeldThreads threads;
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ask_for_list(connection), 0);
    stop();
    threads.run_first();
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(receive_bytes(connection.phone.get(), 1), Bytes());
    EXPECT_EQ(backlog_total(), 0u);
    start();
}

/* Both connections answer while the list is being made. */
TEST(LongListsOfTheService, MakeNobodyWait)
{
    const IppGuard guard = IPP_GUARD_RECOMMENDED;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    TvMethodTable table = {};
    table.get_tv_channelcode = give_list;
    table.set_tv_key = [](uint32_t, uint32_t) { return 5; };
    register_tv_method(&table);
    list_length = 4000000;
    {
        CapturedLines lines;
        const TcpService service;
        const Phone phone;
        const Phone other;
        const Bytes key = wire_frame(FRAME_SET, bytes("09 01 02 06 05 00 00 00 06 00 00 00 00"));
        phone.send(wire_frame(FRAME_GET, bytes("01 00 30")));
        phone.send(key);
        other.send(key);
        const std::string answer = hex(wire_frame(FRAME_SET_REPLY, bytes("09 01 05")));
        EXPECT_EQ(hex(other.read_frame()), answer);
        const Bytes list = phone.read_frame();
        ASSERT_GT(list.size(), 60u);
        EXPECT_EQ(hex(Bytes(list.begin() + 50, list.begin() + 55)), "06 01 00 30 A5");
        EXPECT_EQ(hex(phone.read_frame()), answer);
    }
    register_tv_method(nullptr);
    ipp_set_guard(nullptr);
}
