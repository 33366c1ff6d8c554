#include "link/connection_target.h"

#include "support/mutex_state.h"
#include "support/system_calls.h"
#include "support/wait_until.h"
#include "unit/link/listed_connection.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <thread>

namespace
{

struct FreeCopy {
    void operator()(CtrlPoint *copy) const
    {
        connection_free_copy(copy);
    }
};

using Copy = std::unique_ptr<CtrlPoint, FreeCopy>;

Copy copy_of(const ListedConnection &connection)
{
    return Copy(connection_copy(connection.record));
}

uint32_t identity(const Copy &copy)
{
    return copy->reserved[3];
}

ConnectionTarget find(CtrlPoint *cp)
{
    EXPECT_TRUE(registry_lock());
    const ConnectionTarget target = connection_find(cp);
    registry_unlock();
    return target;
}

/* As a host does that keeps what it has seen in the list. */
void copy_by_hand(CtrlPoint *copy, const CtrlPoint *record)
{
    EXPECT_TRUE(registry_lock());
    std::memcpy(static_cast<void *>(copy), record, offsetof(CtrlPoint, send_lock));
    registry_unlock();
}

class Connection : public OpenRegistry
{
};

} // namespace

/* ---- Use */

TEST_F(Connection, EndsWhenItIsDroppedAndNobodyUsesIt)
{
    const ListedConnection connection;
    connection_unlist(connection.record);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, StaysRegisteredWhenItsLastUserLetsGo)
{
    const ListedConnection connection;
    connection_hold(connection.record);
    connection_release(connection.record);
    EXPECT_TRUE(is_listed(connection.record));
    EXPECT_TRUE(is_open(connection.number));
}

TEST_F(Connection, KeepsItsNumberUntilItsLastUserLetsGo)
{
    const ListedConnection connection;
    connection_hold(connection.record);
    connection_unlist(connection.record);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    EXPECT_TRUE(is_open(connection.number));
    connection_release(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, MayBeTakenOutTwiceByItsUsers)
{
    const ListedConnection connection;
    connection_hold(connection.record);
    connection_unlist(connection.record);
    connection_unlist(connection.record);
    connection_release(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, IsUsedByManyThreadsAndEndsOnce)
{
    for (int round = 0; round < 50; round++) {
        const ListedConnection connection(local_pair());
        std::vector<std::thread> users;
        for (int i = 0; i < 4; i++) {
            connection_hold(connection.record);
            users.emplace_back([record = connection.record] {
                connection_hold(record);
                connection_release(record);
                connection_release(record);
            });
        }
        connection_unlist(connection.record);
        for (std::thread &user : users) {
            user.join();
        }
        ASSERT_FALSE(is_open(connection.number));
    }
}

/* ---- Copies */

TEST_F(Connection, IsCopiedWhole)
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

TEST_F(Connection, HasABareCopyWithNothingThatTheServerThreadChanges)
{
    const ListedConnection connection;
    connection.record->rx_buf = static_cast<uint8_t *>(std::calloc(1, 9));
    connection.record->rx_cap = 9;
    connection.record->rx_fill = 7;
    connection.record->rx_pos = 3;
    Copy copy(connection_bare_copy(connection.record));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->fd, connection.number);
    EXPECT_EQ(copy->rx_buf, nullptr);
    EXPECT_EQ(copy->rx_cap + copy->rx_fill + copy->rx_pos + copy->last_active, 0u);
    EXPECT_EQ(connection_find(copy.get()).record, connection.record);
    connection_unlist(connection.record);
    EXPECT_EQ(connection_find(copy.get()).kind, CONNECTION_GONE);
    EXPECT_TRUE(is_open(connection.number));
    copy.reset();
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, IsHeldByEveryCopy)
{
    const ListedConnection connection;
    Copy first = copy_of(connection);
    Copy second = copy_of(connection);
    connection_unlist(connection.record);
    first.reset();
    EXPECT_TRUE(is_open(connection.number));
    second.reset();
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, IsNotHeldByACopyThatCouldNotBeMade)
{
    const ListedConnection connection;
    WatchedCall allocation(system_malloc);
    allocation.fail(ENOMEM);
    EXPECT_EQ(connection_copy(connection.record), nullptr);
    connection_unlist(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

/* Such a copy would keep nothing in use, and be taken for a record of the host's own. */
TEST_F(Connection, IsNotCopiedOnceTheServiceHasStopped)
{
    const ListedConnection connection;
    connection_hold(connection.record);
    registry_close();
    EXPECT_EQ(connection_copy(connection.record), nullptr);
    EXPECT_TRUE(is_open(connection.number));
    connection_release(connection.record);
    EXPECT_FALSE(is_open(connection.number));
    registry_open();
}

TEST_F(Connection, OfAHostIsCopiedAlsoWhenTheServiceHasStopped)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    registry_close();
    const Copy copy(connection_copy(&record));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->fd, own.near.get());
    registry_open();
}

TEST_F(Connection, HasAnIdentityThatItsCopiesShareAndNoOther)
{
    const ListedConnection one;
    const ListedConnection two;
    const Copy of_one = copy_of(one);
    const Copy of_two = copy_of(two);
    const Copy again = copy_of(one);
    EXPECT_NE(identity(of_one), 0u);
    EXPECT_NE(identity(of_two), 0u);
    EXPECT_NE(identity(of_one), identity(of_two));
    EXPECT_EQ(identity(of_one), identity(again));
}

TEST_F(Connection, HasAnIdentityThatNoLaterRunUsesAgain)
{
    const ListedConnection one;
    const Copy of_one = copy_of(one);
    registry_close();
    registry_open();
    const ListedConnection two;
    const Copy of_two = copy_of(two);
    EXPECT_GT(identity(of_two), identity(of_one));
}

TEST_F(Connection, IsCopiedUnderTheRegistryLock)
{
    const ListedConnection connection;
    ASSERT_TRUE(registry_lock());
    uint32_t seen = 0;
    std::thread copier([&] { seen = copy_of(connection)->last_heartbeat; });
    EXPECT_TRUE(wait_until([] { return has_waiters(g_cp_list_mutex); }));
    connection.record->last_heartbeat = 12345;
    registry_unlock();
    copier.join();
    EXPECT_EQ(seen, 12345u);
}

TEST_F(Connection, CopiesOfARunThatHasEndedAreTold)
{
    const ListedConnection before;
    const Copy old = copy_of(before);
    EXPECT_FALSE(connection_is_stale(old.get()));
    registry_close();
    EXPECT_TRUE(connection_is_stale(old.get()));
    registry_open();
    const ListedConnection after;
    const Copy fresh = copy_of(after);
    EXPECT_TRUE(connection_is_stale(old.get()));
    EXPECT_FALSE(connection_is_stale(fresh.get()));
    EXPECT_FALSE(connection_is_stale(std::make_unique<HandMadeRecord>(5).get()));
}

/* ---- Whose record it is */

TEST_F(Connection, IsFoundByItsRecord)
{
    const ListedConnection connection;
    const ConnectionTarget target = find(connection.record);
    EXPECT_EQ(target.kind, CONNECTION_LISTED);
    EXPECT_EQ(target.record, connection.record);
}

TEST_F(Connection, IsFoundByACopy)
{
    const ListedConnection other;
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    const ConnectionTarget target = find(copy.get());
    EXPECT_EQ(target.kind, CONNECTION_LISTED);
    EXPECT_EQ(target.record, connection.record);
}

TEST_F(Connection, IsFoundByAHandMadeRecordWithItsNumber)
{
    const ListedConnection other;
    const ListedConnection connection;
    HandMadeRecord by_hand(connection.number);
    const ConnectionTarget target = find(&by_hand);
    EXPECT_EQ(target.kind, CONNECTION_LISTED);
    EXPECT_EQ(target.record, connection.record);
}

TEST_F(Connection, IsFoundByAHandMadeCopy)
{
    const ListedConnection connection;
    HandMadeRecord before(connection.number);
    copy_by_hand(&before, connection.record); /* at first a record has no identity yet */
    const Copy copy = copy_of(connection);
    HandMadeRecord after(connection.number);
    copy_by_hand(&after, connection.record);
    EXPECT_EQ(find(&before).record, connection.record);
    EXPECT_EQ(find(&after).record, connection.record);
}

TEST_F(Connection, IsGoneForACopyOnceItIsDropped)
{
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    connection_unlist(connection.record);
    EXPECT_EQ(find(copy.get()).kind, CONNECTION_GONE);
}

TEST_F(Connection, IsNotMistakenForALaterOneWithTheSameNumber)
{
    const ListedConnection earlier;
    const ListedConnection other;
    Copy copy = copy_of(earlier);
    CtrlPoint kept = *copy; /* outlives the item, as a careless host's copy does */
    connection_unlist(earlier.record);
    copy.reset();
    const ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    EXPECT_EQ(find(&kept).kind, CONNECTION_GONE);
}

TEST_F(Connection, IsNotMistakenForALaterOneByAHandMadeCopyEither)
{
    ListedConnection earlier;
    earlier.record->connect_time -= 1;
    HandMadeRecord by_hand(earlier.number);
    copy_by_hand(&by_hand, earlier.record);
    connection_unlist(earlier.record);
    const ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    EXPECT_EQ(find(&by_hand).kind, CONNECTION_GONE);
    by_hand.connect_time = later.record->connect_time;
    by_hand.peer_addr = inet_addr("192.0.2.8");
    EXPECT_EQ(find(&by_hand).kind, CONNECTION_GONE);
}

TEST_F(Connection, IsToldByItsIdentityOnceAPassWatchesIt)
{
    const ListedConnection earlier;
    ASSERT_TRUE(registry_lock());
    connection_watch(earlier.record);
    registry_unlock();
    HandMadeRecord by_hand(earlier.number);
    copy_by_hand(&by_hand, earlier.record);
    EXPECT_EQ(find(&by_hand).record, earlier.record);
    connection_unlist(earlier.record);
    ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    later.record->connect_time = by_hand.connect_time; /* the same phone, in the same second */
    EXPECT_EQ(find(&by_hand).kind, CONNECTION_GONE);
}

TEST_F(Connection, IsTheHostsBusinessWhenItIsNotRegistered)
{
    const ListedConnection connection;
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    const ConnectionTarget target = find(&record);
    EXPECT_EQ(target.kind, CONNECTION_FOREIGN);
    EXPECT_EQ(target.record, &record);
}

TEST_F(Connection, OfAHostIsCopiedWithoutBeingCounted)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    const Copy copy(connection_copy(&record));
    EXPECT_EQ(find(copy.get()).kind, CONNECTION_FOREIGN);
    EXPECT_EQ(find(copy.get()).record, copy.get());
    EXPECT_EQ(find(&record).kind, CONNECTION_FOREIGN);
    EXPECT_EQ(hex(record.reserved, sizeof record.reserved), hex(Bytes(sizeof record.reserved)));
    EXPECT_FALSE(connection_is_stale(copy.get()));
}

TEST_F(Connection, IsHeldWhileItIsReached)
{
    const ListedConnection connection;
    const ConnectionTarget target = connection_acquire_target(connection.record);
    ASSERT_EQ(target.kind, CONNECTION_LISTED);
    connection_unlist(connection.record);
    EXPECT_TRUE(is_open(connection.number));
    connection_release_target(&target);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Connection, IsReachedByCopyRecordAndNumberOnceTheServiceHasStopped)
{
    const ListedConnection connection;
    const Copy copy = copy_of(connection);
    HandMadeRecord own(local_pair().near.get());
    registry_close();
    EXPECT_EQ(connection_acquire_target(copy.get()).kind, CONNECTION_GONE);
    const ConnectionTarget target = connection_acquire_target(&own);
    EXPECT_EQ(target.kind, CONNECTION_FOREIGN);
    EXPECT_EQ(target.record, &own);
    connection_release_target(&target);
}
