/* SPDX-License-Identifier: MIT */
/* Transfers over a port of their own, from a second listening socket of the test's. */
#include "controlpoint_calls.h"
#include "cp_scripted_television.h"

#include <utility>

namespace
{

using namespace cp_test;

void just_wait(const Peer &peer)
{
    peer.wait_until_gone();
}

/* What is sent: the length, then these bytes. */
Bytes transfer_of(const Bytes &data)
{
    const auto size = static_cast<uint32_t>(data.size());
    Bytes length;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        length.push_back(static_cast<uint8_t>(size >> shift));
    }
    return length + data;
}

/* A connected phone, and a port where something is ready. */
struct Transfer {
    explicit Transfer(std::function<void(const Peer &)> script)
        : ready(std::move(script)), phone(television)
    {
    }

    CpStatus fetch(size_t limit = CP_BULK_LIMIT, uint32_t timeout_ms = patience_ms)
    {
        const CpBulk bulk = {ready.port, limit, note, this};
        return cp_fetch_bulk(phone.connection, &bulk, &data.buffer, timeout_ms);
    }

    static void note(size_t arrived, size_t whole, void *context)
    {
        static_cast<Transfer *>(context)->steps.emplace_back(arrived, whole);
    }

    const ScriptedTelevision television{just_wait};
    const ScriptedTelevision ready;
    const Phone phone;
    Built data;
    std::vector<std::pair<size_t, size_t>> steps;
};

TEST(ControlPointBulk, FetchesWhatIsReady)
{
    const Bytes image = {1, 2, 3};
    Transfer transfer([&](const Peer &peer) { peer.send(transfer_of(image)); });
    EXPECT_EQ(transfer.fetch(), CP_OK);
    EXPECT_EQ(transfer.data.bytes(), image);
    EXPECT_EQ(transfer.steps.back(), std::make_pair(size_t{3}, size_t{3}));
}

TEST(ControlPointBulk, FetchesNothingWhenNothingIsAnnounced)
{
    Transfer transfer([](const Peer &peer) { peer.send(transfer_of({})); });
    EXPECT_EQ(transfer.fetch(), CP_OK);
    EXPECT_EQ(transfer.data.bytes(), Bytes{});
    EXPECT_TRUE(transfer.steps.empty());
}

TEST(ControlPointBulk, TakesBytesAsTheyComeAndTellsHowManyAreThere)
{
    Bytes image(300000);
    for (size_t i = 0; i < image.size(); i++) {
        image[i] = static_cast<uint8_t>(i * i);
    }
    Transfer transfer([&](const Peer &peer) {
        const Bytes all = transfer_of(image);
        peer.send(front_of(all, 2));
        peer.send({all.begin() + 2, all.begin() + 100000});
        peer.send({all.begin() + 100000, all.end()});
        peer.wait_until_gone();
    });
    EXPECT_EQ(transfer.fetch(), CP_OK);
    EXPECT_TRUE(transfer.data.bytes() == image);
    size_t before = 0;
    for (const auto &[arrived, whole] : transfer.steps) {
        EXPECT_GE(arrived, before);
        EXPECT_EQ(whole, image.size());
        before = arrived;
    }
    EXPECT_EQ(before, image.size());
}

TEST(ControlPointBulk, ReplacesWhatWasInTheBuffer)
{
    Transfer transfer([](const Peer &peer) { peer.send(transfer_of({7})); });
    ASSERT_EQ(cp_build_device_info(&transfer.data.buffer), CP_OK);
    EXPECT_EQ(transfer.fetch(), CP_OK);
    EXPECT_EQ(transfer.data.bytes(), Bytes{7});
}

TEST(ControlPointBulk, RefusesMoreThanTheLimitBeforeAnyOfItArrives)
{
    Transfer transfer([](const Peer &peer) {
        peer.send({0xFF, 0xFF, 0xFF, 0xFF});
        peer.wait_until_gone();
    });
    EXPECT_EQ(transfer.fetch(), CP_PROTOCOL);
    EXPECT_STREQ(cp_problem(transfer.phone.connection),
                 "more bytes are announced than are accepted");
    EXPECT_EQ(transfer.data.bytes(), Bytes{});
}

TEST(ControlPointBulk, TakesExactlyAsManyBytesAsTheLimit)
{
    {
        Transfer transfer([](const Peer &peer) { peer.send(transfer_of({1, 2, 3})); });
        EXPECT_EQ(transfer.fetch(3), CP_OK);
    }
    Transfer transfer([](const Peer &peer) { peer.send(transfer_of({1, 2, 3})); });
    EXPECT_EQ(transfer.fetch(2), CP_PROTOCOL);
}

TEST(ControlPointBulk, TellsATelevisionThatClosesTooSoon)
{
    const Bytes whole = transfer_of({1, 2, 3});
    for (size_t size = 0; size < whole.size(); size++) {
        Transfer transfer([&](const Peer &peer) { peer.send(front_of(whole, size)); });
        EXPECT_EQ(transfer.fetch(), CP_CLOSED) << size;
        EXPECT_STREQ(cp_problem(transfer.phone.connection),
                     "it closed before all that it announced had arrived");
        EXPECT_EQ(transfer.data.bytes(), Bytes{}) << size;
    }
}

TEST(ControlPointBulk, TellsATelevisionThatResets)
{
    Transfer transfer([](const Peer &peer) {
        peer.send({9, 0, 0, 0});
        peer.reset_when_closed();
    });
    const CpStatus status = transfer.fetch();
    EXPECT_TRUE(status == CP_CLOSED || (KEPT_ERRORS_ARE_FOREIGN && status == CP_SYSTEM)) << status;
    EXPECT_EQ(transfer.data.bytes(), Bytes{});
}

TEST(ControlPointBulk, DoesNotWaitLongerThanItsTimeOut)
{
    for (const Bytes &part : {Bytes{}, Bytes{5, 0}, Bytes{5, 0, 0, 0, 1}}) {
        Transfer transfer([&](const Peer &peer) {
            peer.send(part);
            peer.wait_until_gone();
        });
        EXPECT_EQ(transfer.fetch(CP_BULK_LIMIT, 30), CP_TIMED_OUT) << part.size();
        EXPECT_EQ(transfer.data.bytes(), Bytes{});
    }
}

TEST(ControlPointBulk, IsNotHeldUpByATrickle)
{
    Transfer transfer([](const Peer &peer) {
        peer.send({0, 0, 0, 4}); /* far more than single bytes bring in that time */
        while (::send(peer.descriptor, "x", 1, MSG_NOSIGNAL) == 1) {
        }
    });
    EXPECT_EQ(transfer.fetch(CP_BULK_LIMIT, 50), CP_TIMED_OUT);
}

TEST(ControlPointBulk, TellsAPortThatNobodyServes)
{
    const ScriptedTelevision television(just_wait);
    const Phone phone(television);
    uint16_t port = 0;
    const int bound = bound_socket(&port); /* bound, but not listening */
    Built data;
    const CpBulk bulk = {port, CP_BULK_LIMIT, nullptr, nullptr};
    EXPECT_EQ(cp_fetch_bulk(phone.connection, &bulk, &data.buffer, patience_ms), refused);
    close(bound);
}

TEST(ControlPointBulk, RefusesBadArguments)
{
    const ScriptedTelevision television(just_wait);
    const Phone phone(television);
    Built data;
    const CpBulk no_port = {0, CP_BULK_LIMIT, nullptr, nullptr};
    EXPECT_EQ(cp_fetch_bulk(phone.connection, &no_port, &data.buffer, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_fetch_bulk(nullptr, &no_port, &data.buffer, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_fetch_bulk(phone.connection, nullptr, &data.buffer, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_fetch_bulk(phone.connection, &no_port, nullptr, 1), CP_BAD_ARGUMENT);
}

} // namespace
