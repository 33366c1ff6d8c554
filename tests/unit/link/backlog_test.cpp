/* SPDX-License-Identifier: MIT */
/* Under the guard's send_backlog_bytes nobody waits for a phone that takes no bytes. */
#include "link/backlog.h"

#include "link/send.h"
#include "support/full_buffers.h"
#include "support/service_facts.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wire.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

namespace
{

using Records = std::vector<void *>;

const size_t KEPT_FRAME_SIZE = 76;

Bytes kept_payload(uint8_t first)
{
    return {first, 2, 3, 4};
}

int reply(CtrlPoint *cp, uint8_t first)
{
    return tcp_sendback(cp, FRAME_GET_REPLY, kept_payload(first).data(), 4);
}

Bytes reply_frame(uint8_t first)
{
    return wire_frame(FRAME_GET_REPLY, kept_payload(first));
}

std::string reason_line(const char *function, int line, int error)
{
    return "err:socket_send(): " + std::string(function) + ":" + std::to_string(line) +
           ",errno=" + std::to_string(error) + "\n";
}

class KeptFrames : public OpenRegistry
{
protected:
    static void bound(uint32_t backlog_bytes, uint32_t stall_ms = 0)
    {
        IppGuard guard = {};
        guard.send_backlog_bytes = backlog_bytes;
        guard.send_stall_ms = stall_ms;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    void SetUp() override
    {
        bound(1000);
    }

    /* As the server thread does. */
    static void send_what_waits(CtrlPoint *record)
    {
        const Connection connection = connection_acquire(record);
        ASSERT_NE(connection.record, nullptr);
        send_waiting(connection);
        connection_release(connection);
    }

    /* From now on this connection takes nothing. */
    static std::unique_ptr<ScriptedSends> full(const ListedConnection &connection)
    {
        return std::make_unique<ScriptedSends>(connection.number, std::vector<int>(1000, -EAGAIN));
    }
};

TEST_F(KeptFrames, AreSentFromWhereTheyStoppedWhenThereIsRoom)
{
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {10, -EAGAIN, -EAGAIN, 7, -EAGAIN});
    EXPECT_EQ(reply(connection.record, 1), 1);
    EXPECT_EQ(backlog_total(), 66u);
    send_what_waits(connection.record);
    EXPECT_EQ(backlog_total(), 66u);
    send_what_waits(connection.record);
    EXPECT_EQ(backlog_total(), 59u);
    send_what_waits(connection.record);
    EXPECT_EQ(backlog_total(), 0u);
    EXPECT_EQ(sends.sizes(), (std::vector<size_t>{76, 66, 66, 66, 59, 59}));
    for (const ScriptedSends::Call &call : sends.calls()) {
        EXPECT_EQ(call.flags, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    EXPECT_EQ(connection.received(KEPT_FRAME_SIZE), hex(reply_frame(1)));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(KeptFrames, StayInTheirOrderAndNothingOvertakesThem)
{
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {-EAGAIN});
    EXPECT_EQ(reply(connection.record, 1), 1);
    EXPECT_EQ(reply(connection.record, 2), 1);
    EXPECT_EQ(ipp_set_guard(nullptr), 0);
    EXPECT_EQ(reply(connection.record, 3), -1) << "the guard keeps no more";
    EXPECT_EQ(sends.calls().size(), 1u) << "a reply was sent before what waits";
    EXPECT_FALSE(is_listed(connection.record));
}

/* Under send_stall_ms alone an event does not wait for anybody at first. */
TEST_F(KeptFrames, AreNotOvertakenByEventsWhenTheGuardHasChanged)
{
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {10, -EAGAIN});
    EXPECT_EQ(reply(connection.record, 1), 1);
    bound(0, 2000);
    sendto_all_ctrlpoint(FRAME_EVENT, kept_payload(2).data(), 4);
    EXPECT_EQ(sends.calls().size(), 2u) << "an event was sent into a frame";
    EXPECT_FALSE(is_listed(connection.record));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptFrames, AreAllSentInOnePassWhenThereIsRoom)
{
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {-EAGAIN});
    for (uint8_t first = 1; first <= 3; first++) {
        EXPECT_EQ(reply(connection.record, first), 1);
    }
    send_what_waits(connection.record);
    EXPECT_EQ(connection.received(3 * KEPT_FRAME_SIZE),
              hex(reply_frame(1)) + " " + hex(reply_frame(2)) + " " + hex(reply_frame(3)));
    EXPECT_EQ(reply(connection.record, 4), 1);
    EXPECT_EQ(connection.received(KEPT_FRAME_SIZE), hex(reply_frame(4)));
}

TEST_F(KeptFrames, EndTheConnectionBeyondItsBound)
{
    bound(2 * KEPT_FRAME_SIZE);
    const ListedConnection connection(local_pair());
    const auto nothing_taken = full(connection);
    for (uint8_t first = 1; first <= 3; first++) {
        EXPECT_EQ(reply(connection.record, first), 1) << "the first one does not count";
    }
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(reply(connection.record, 4), -1);
    EXPECT_EQ(lines.out(), (std::vector<std::string>{reason_line("tcp_sendback", 244, ENOBUFS)}));
    EXPECT_FALSE(is_listed(connection.record));
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptFrames, MayBeOneThatIsLongerThanTheBound)
{
    bound(100);
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {-EAGAIN});
    const Bytes payload(328, 7);
    EXPECT_EQ(tcp_sendback(connection.record, 6, payload.data(), 328), 1);
    EXPECT_EQ(backlog_total(), 400u);
    send_what_waits(connection.record);
    EXPECT_EQ(connection.received(400), hex(wire_frame(6, payload)));
}

TEST_F(KeptFrames, AreBoundedForAllConnectionsTogether)
{
    bound(KEPT_FRAME_SIZE);
    const ListedConnections all = listed_connections(6);
    const Replaced send(system_send, [](int, const void *, size_t, int) {
        errno = EAGAIN;
        return ssize_t{-1};
    });
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(reply(all[i]->record, 1), 1) << i;
    }
    EXPECT_EQ(reply(all[4]->record, 1), -1);
    EXPECT_EQ(lines.out(), (std::vector<std::string>{reason_line("tcp_sendback", 244, ENOBUFS)}));
    registry_remove(all[0]->record);
    EXPECT_EQ(reply(all[5]->record, 1), 1);
    EXPECT_EQ(backlog_total(), 4 * KEPT_FRAME_SIZE);
}

TEST_F(KeptFrames, EndTheConnectionWhenMemoryIsOut)
{
    const ListedConnection connection(local_pair());
    const auto nothing_taken = full(connection);
    WatchedCall memory(system_malloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(reply(connection.record, 1), -1);
    EXPECT_EQ(lines.out(), (std::vector<std::string>{reason_line("tcp_sendback", 244, ENOMEM)}));
    EXPECT_EQ(backlog_total(), 0u);
    EXPECT_FALSE(is_listed(connection.record));
}

TEST_F(KeptFrames, EndTheConnectionOnceNoByteWasTakenForTheGuardsTime)
{
    bound(1000, 50);
    const ListedConnection connection(local_pair());
    SleptTime time;
    const ScriptedSends sends(connection.number,
                              {-EAGAIN, -EAGAIN, 1, -EAGAIN, -EAGAIN, -EAGAIN, -EAGAIN});
    EXPECT_EQ(reply(connection.record, 1), 1);
    time.pass(49);
    send_what_waits(connection.record); /* no room */
    send_what_waits(connection.record); /* for one byte: the time begins anew */
    time.pass(49);
    send_what_waits(connection.record);
    EXPECT_TRUE(lines.all().empty());
    EXPECT_TRUE(is_listed(connection.record));
    time.pass(1);
    send_what_waits(connection.record);
    EXPECT_EQ(lines.out(), (std::vector<std::string>{reason_line("tcp_sendback", 244, ETIMEDOUT)}));
    EXPECT_FALSE(is_listed(connection.record));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptFrames, EndWithAConnectionThatFails)
{
    const ListedConnection connection(local_pair());
    const ScriptedSends sends(connection.number, {-EAGAIN, -ECONNRESET});
    EXPECT_EQ(reply(connection.record, 1), 1);
    send_what_waits(connection.record);
    EXPECT_EQ(lines.out(),
              (std::vector<std::string>{reason_line("tcp_sendback", 244, ECONNRESET)}));
    EXPECT_FALSE(is_listed(connection.record));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptFrames, AreDroppedWhenTheServiceStops)
{
    const ListedConnection connection(local_pair());
    const auto nothing_taken = full(connection);
    EXPECT_EQ(reply(connection.record, 1), 1);
    stop();
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptFrames, LetAnEventReachTheOthersAtOnce)
{
    bound(1000, 2000);
    const ListedConnections all = listed_connections(3);
    const auto nothing_taken = full(*all[1]);
    const TakenSleeps sleeps;
    sendto_all_ctrlpoint(FRAME_EVENT, kept_payload(9).data(), 4);
    EXPECT_TRUE(sleeps.all().empty());
    const std::string event = hex(wire_frame(FRAME_EVENT, kept_payload(9)));
    EXPECT_EQ(all[0]->received(KEPT_FRAME_SIZE), event);
    EXPECT_EQ(all[2]->received(KEPT_FRAME_SIZE), event);
    EXPECT_EQ(elements(g_cp_list), Records({all[0]->record, all[1]->record, all[2]->record}));
    EXPECT_EQ(backlog_total(), KEPT_FRAME_SIZE);
    EXPECT_EQ(lines.count("zqt  :socket_send(): tcp_sendbackall:167,send_ret=-1\n"), 1u);
}

TEST_F(KeptFrames, AreNotKeptForAHostsOwnRecord)
{
    const ConnectedPair ends = local_pair();
    HandMadeRecord own(ends.near.get());
    const TakenSleeps sleeps;
    const ScriptedSends sends(own.fd, {10, -EAGAIN});
    EXPECT_EQ(reply(&own, 1), 1);
    EXPECT_EQ(sleeps.all(), std::vector<uint64_t>({10000}));
    EXPECT_EQ(backlog_total(), 0u);
}

/* ---- With the server thread */

class KeptByTheService : public testing::Test
{
protected:
    ~KeptByTheService() override
    {
        ipp_set_guard(nullptr);
    }

    static void bound(uint32_t stall_ms)
    {
        IppGuard guard = {};
        guard.send_backlog_bytes = 2 * MORE_THAN_ALL_BUFFERS;
        guard.send_stall_ms = stall_ms;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    /* Asks for more than all buffers take, without reading it. */
    static void ask_for_much(const Phone &phone)
    {
        CtrlPoint copy = {};
        ASSERT_TRUE(look_at(phone, [&](const CtrlPoint &record) { copy = record; }));
        EXPECT_EQ(tcp_sendback(&copy, FRAME_GET_REPLY, much().data(),
                               static_cast<int32_t>(much().size())),
                  1);
    }

    static Bytes make_much()
    {
        Bytes result(MORE_THAN_ALL_BUFFERS);
        uint8_t *to = result.data();
        for (size_t i = 0; i < MORE_THAN_ALL_BUFFERS; i++) {
            to[i] = static_cast<uint8_t>(i * 7 + i / 251);
        }
        return result;
    }

    /* Made when it is first wanted, not at the start of every test program. */
    static const Bytes &much()
    {
        static const Bytes bytes = make_much();
        return bytes;
    }

    const CapturedLines lines;
};

TEST_F(KeptByTheService, IsWhatAPhoneThatReadsLaterHasNotTakenYet)
{
    bound(60000);
    const TcpService service;
    const Phone slow(SMALL_BUFFER);
    const Phone other;
    ask_for_much(slow);
    EXPECT_GT(backlog_total(), 0u);
    slow.send(phone_heartbeat());
    EXPECT_EQ(hex(other.exchange_heartbeat()), hex(answer_heartbeat())) << "somebody waits";
    EXPECT_TRUE(slow.read_frame() == wire_frame(FRAME_GET_REPLY, much()));
    EXPECT_EQ(hex(slow.read_frame()), hex(answer_heartbeat()));
    EXPECT_TRUE(wait_until([] { return backlog_total() == 0; }));
}

TEST_F(KeptByTheService, IsGivenUpWithAPhoneThatNeverReads)
{
    bound(200);
    const TcpService service;
    const Phone silent(SMALL_BUFFER);
    ask_for_much(silent);
    EXPECT_TRUE(wait_for_connected(0));
    EXPECT_TRUE(lines.wait_for(reason_line("tcp_sendback", 244, ETIMEDOUT)));
    EXPECT_EQ(backlog_total(), 0u);
}

TEST_F(KeptByTheService, DoesNotDelayAStop)
{
    bound(0);
    {
        const TcpService service;
        const Phone silent(SMALL_BUFFER);
        ask_for_much(silent);
        EXPECT_GT(backlog_total(), 0u);
    }
    EXPECT_EQ(backlog_total(), 0u);
}

} // namespace
