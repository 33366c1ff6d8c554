/* SPDX-License-Identifier: MIT */
#include "link/connection.h"

#include "support/system_calls.h"
#include "support/wait_until.h"
#include "unit/link/listed_connection.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace
{

struct FreeCopy {
    void operator()(CtrlPoint *copy) const
    {
        std::free(copy);
    }
};

using Copy = std::unique_ptr<CtrlPoint, FreeCopy>;

Copy copy_of(const ListedConnection &connection)
{
    return Copy(connection_copy(connection.record));
}

uint32_t identity(const CtrlPoint *cp)
{
    return cp->reserved[1];
}

enum Kind { GONE, IN_USE, OF_HOST };

struct Found {
    Kind kind;
    CtrlPoint *record;
};

Found found(CtrlPoint *cp)
{
    const Connection connection = connection_acquire(cp);
    connection_release(connection);
    const Kind kind = connection.place == nullptr    ? OF_HOST
                      : connection.record == nullptr ? GONE
                                                     : IN_USE;
    return {kind, connection.record};
}

class Connections : public OpenRegistry
{
};

} // namespace

/* ---- Use */

TEST_F(Connections, EndsWhenItIsDroppedAndNobodyUsesIt)
{
    const ListedConnection connection;
    registry_remove(connection.record);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connections, StaysRegisteredWhenItsLastUserLetsGo)
{
    const ListedConnection connection;
    hold_record(connection.record);
    release_record(connection.record);
    EXPECT_TRUE(is_listed(connection.record));
    EXPECT_TRUE(is_open(connection.number));
}

TEST_F(Connections, KeepsItsNumberUntilItsLastUserLetsGo)
{
    const ListedConnection connection;
    hold_record(connection.record);
    registry_remove(connection.record);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    EXPECT_TRUE(is_open(connection.number));
    release_record(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connections, MayBeTakenOutTwiceByItsUsers)
{
    const ListedConnection connection;
    hold_record(connection.record);
    registry_remove(connection.record);
    registry_remove(connection.record);
    release_record(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connections, IsUsedByManyThreadsAndEndsOnce)
{
    for (int round = 0; round < 50; round++) {
        const ListedConnection connection(local_pair());
        std::vector<std::thread> users;
        for (int i = 0; i < 4; i++) {
            hold_record(connection.record);
            users.emplace_back([record = connection.record] {
                connection_release(connection_acquire(record)); /* or it has ended already */
                release_record(record);
            });
        }
        registry_remove(connection.record);
        for (std::thread &user : users) {
            user.join();
        }
        ASSERT_FALSE(is_open(connection.number));
    }
}

/* ---- Copies */

TEST_F(Connections, IsCopiedWhole)
{
    const ListedConnection connection;
    connection.record->rx_buf = static_cast<uint8_t *>(std::calloc(1, 9));
    connection.record->rx_cap = 9;
    connection.record->rx_fill = 7;
    connection.record->rx_pos = 3;
    connection.record->last_heartbeat = 11;
    const Copy copy = copy_of(connection);
    const size_t front = offsetof(CtrlPoint, reserved);
    EXPECT_EQ(hex(copy.get(), front), hex(connection.record, front));
    EXPECT_EQ(hex(&copy->send_lock, sizeof copy->send_lock),
              hex(&connection.record->send_lock, sizeof copy->send_lock));
}

TEST_F(Connections, HasAReferenceWithNothingThatTheServerThreadChanges)
{
    const ListedConnection connection;
    connection.record->rx_buf = static_cast<uint8_t *>(std::calloc(1, 9));
    connection.record->rx_cap = 9;
    connection.record->rx_fill = 7;
    connection.record->rx_pos = 3;
    CtrlPoint reference;
    std::memset(static_cast<void *>(&reference), 0x55, sizeof reference);
    connection_refer(&reference, connection.record);
    EXPECT_EQ(reference.fd, connection.number);
    EXPECT_EQ(reference.rx_buf, nullptr);
    EXPECT_EQ(reference.rx_cap + reference.rx_fill + reference.rx_pos + reference.last_active, 0u);
    EXPECT_EQ(found(&reference).record, connection.record);
    registry_remove(connection.record);
    EXPECT_EQ(found(&reference).kind, GONE);
}

TEST_F(Connections, IsHeldByNoCopy)
{
    const ListedConnection connection;
    const Copy first = copy_of(connection);
    const Copy second = copy_of(connection);
    registry_remove(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connections, IsNotHeldByACopyThatCouldNotBeMade)
{
    const ListedConnection connection;
    WatchedCall allocation(system_malloc);
    allocation.fail(ENOMEM);
    EXPECT_EQ(connection_copy(connection.record), nullptr);
    registry_remove(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connections, HasAnIdentityThatItsCopiesShareAndNoOther)
{
    const ListedConnection one;
    const ListedConnection two;
    const Copy of_one = copy_of(one);
    const Copy of_two = copy_of(two);
    const Copy again = copy_of(one);
    EXPECT_NE(identity(of_one.get()), 0u);
    EXPECT_NE(identity(of_two.get()), 0u);
    EXPECT_NE(identity(of_one.get()), identity(of_two.get()));
    EXPECT_EQ(identity(of_one.get()), identity(again.get()));
}

TEST_F(Connections, HasAnIdentityThatNoLaterRunUsesAgain)
{
    const ListedConnection one;
    const Copy of_one = copy_of(one);
    stop();
    start();
    const ListedConnection two;
    const Copy of_two = copy_of(two);
    EXPECT_GT(identity(of_two.get()), identity(of_one.get()));
}

TEST_F(Connections, CopiesOfARunThatHasEndedAreTold)
{
    const ListedConnection before;
    const Copy old = copy_of(before);
    EXPECT_FALSE(connection_is_stale(old.get()));
    stop();
    EXPECT_TRUE(connection_is_stale(old.get()));
    start();
    const ListedConnection after;
    const Copy fresh = copy_of(after);
    EXPECT_TRUE(connection_is_stale(old.get()));
    EXPECT_FALSE(connection_is_stale(fresh.get()));
    EXPECT_FALSE(connection_is_stale(std::make_unique<HandMadeRecord>(5).get()));
}

/* ---- Whose record it is */

TEST_F(Connections, IsFoundByItsRecordAndEveryCopyOfIt)
{
    const ListedConnection other;
    const ListedConnection connection;
    const Copy item = copy_of(connection);
    CtrlPoint of_item = *item;
    CtrlPoint of_copy = of_item;
    for (CtrlPoint *cp : {connection.record, item.get(), &of_item, &of_copy}) {
        const Found target = found(cp);
        EXPECT_EQ(target.kind, IN_USE);
        EXPECT_EQ(target.record, connection.record);
    }
}

TEST_F(Connections, IsGoneForACopyOnceItIsDropped)
{
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    hold_record(connection.record);
    registry_remove(connection.record);
    EXPECT_EQ(found(copy.get()).kind, GONE) << "although somebody uses it still";
    release_record(connection.record);
    EXPECT_EQ(found(copy.get()).kind, GONE);
}

TEST_F(Connections, IsNotMistakenForALaterOneWithTheSameNumber)
{
    const ListedConnection earlier;
    const ListedConnection other;
    const Copy copy = copy_of(earlier);
    registry_remove(earlier.record);
    const ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    ASSERT_EQ(later.record->reserved[0], copy->reserved[0]) << "the place is used again";
    EXPECT_EQ(found(copy.get()).kind, GONE);
    EXPECT_TRUE(is_listed(later.record));
    EXPECT_TRUE(is_open(later.number));
}

TEST_F(Connections, IsTheHostsBusinessWithoutAHandle)
{
    const ListedConnection connection;
    const ConnectedPair own = local_pair();
    for (const int number : {own.near.get(), connection.number}) {
        HandMadeRecord record(number);
        const Found target = found(&record);
        EXPECT_EQ(target.kind, OF_HOST);
        EXPECT_EQ(target.record, &record);
        const Copy copy(connection_copy(&record));
        EXPECT_EQ(found(copy.get()).kind, OF_HOST);
        EXPECT_EQ(found(copy.get()).record, copy.get());
        EXPECT_FALSE(connection_is_stale(copy.get()));
    }
}

TEST_F(Connections, IsTheHostsBusinessWhenTheHostHasReplacedTheDescriptor)
{
    const ListedConnection connection;
    const ConnectedPair own = local_pair();
    const Copy copy = copy_of(connection);
    copy->fd = own.near.get();
    EXPECT_EQ(found(copy.get()).kind, OF_HOST);
    EXPECT_EQ(found(copy.get()).record, copy.get());
    registry_remove(connection.record);
    EXPECT_EQ(found(copy.get()).kind, OF_HOST);
    copy->fd = connection.number;
    EXPECT_EQ(found(copy.get()).kind, GONE);
}

TEST_F(Connections, LeavesTheOriginalAloneWhenACopyWithAnotherDescriptorIsFreed)
{
    const ListedConnection connection;
    ConnectedPair own = local_pair();
    CtrlPoint *copy = connection_copy(connection.record);
    copy->fd = own.near.release();
    copy->rx_buf = nullptr;
    const int number = copy->fd;
    ctrlpoint_free(copy);
    EXPECT_FALSE(is_open(number));
    EXPECT_TRUE(is_open(connection.number));
    EXPECT_EQ(found(connection.record).record, connection.record);
}

TEST_F(Connections, KeepItsHandleWhenItIsRegisteredAgain)
{
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    registry_lock();
    EXPECT_TRUE(connection_register(connection.record));
    registry_unlock();
    EXPECT_EQ(found(copy.get()).record, connection.record);
}

TEST_F(Connections, IsStillGoneWithoutItsDescriptor)
{
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    registry_remove(connection.record);
    connection_clear_descriptor(copy.get());
    EXPECT_EQ(copy->fd, -1);
    EXPECT_EQ(found(copy.get()).kind, GONE);
}

TEST_F(Connections, IsGoneForAHandleThatWasNeverGiven)
{
    HandMadeRecord record(5);
    record.reserved[1] = 1;
    record.reserved[2] = 5;
    for (const uint32_t place : {1u << 20, (1u << 20) + 1, 0xFFFFFFFFu}) {
        record.reserved[0] = place;
        EXPECT_EQ(found(&record).kind, OF_HOST) << place;
    }
}

TEST_F(Connections, AreMoreThanOneBlockOfTheTable)
{
    std::vector<std::unique_ptr<ListedConnection>> all;
    for (int i = 0; i < 200; i++) {
        all.push_back(std::make_unique<ListedConnection>(local_pair()));
    }
    for (const auto &connection : all) {
        EXPECT_EQ(found(connection->record).record, connection->record);
    }
    std::vector<Copy> copies;
    for (const auto &connection : all) {
        copies.push_back(copy_of(*connection));
        registry_remove(connection->record);
    }
    const ListedConnection later;
    for (const Copy &copy : copies) {
        EXPECT_EQ(found(copy.get()).kind, GONE);
    }
}

/* A stale handle may become the last user of the connection that has its place now. */
TEST_F(Connections, EndOnceAlsoWhileStaleHandlesAreTried)
{
    std::atomic<bool> enough{false};
    const ListedConnection first(local_pair());
    const Copy stale = copy_of(first);
    registry_remove(first.record);
    std::vector<std::thread> hosts;
    for (int i = 0; i < 2; i++) {
        hosts.emplace_back([&, copy = CtrlPoint(*stale)]() mutable {
            while (!enough) {
                EXPECT_EQ(found(&copy).kind, GONE);
            }
        });
    }
    int in_the_place = 0;
    for (int round = 0; round < 500; round++) {
        /* The place is free a moment after the descriptor has been closed. */
        const ListedConnection connection(local_pair());
        in_the_place += connection.record->reserved[0] == stale->reserved[0] ? 1 : 0;
        registry_remove(connection.record);
        EXPECT_TRUE(wait_until([&] { return !is_open(connection.number); }));
    }
    enough = true;
    for (std::thread &host : hosts) {
        host.join();
    }
    EXPECT_GT(in_the_place, 0);
}
