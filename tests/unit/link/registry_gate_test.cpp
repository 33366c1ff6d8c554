#include "link/registry.h"

#include "base/log.h"
#include "link/connection_target.h"
#include "support/mutex_state.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "unit/link/listed_connection.h"

#include <atomic>
#include <thread>

namespace
{

class RegistryGate : public OpenRegistry
{
};

thread_local bool closes = false; /* does this thread open or close the gate? */

/* Notes what becomes of the registry lock. */
struct WatchedLock {
    std::atomic<int> destroyed{0};
    std::atomic<bool> waited_for{false}; /* by the thread that opens or closes the gate */

    Replaced<decltype(system_pthread_mutex_destroy)> destroy{
        system_pthread_mutex_destroy, [this](pthread_mutex_t *mutex) {
            destroyed += mutex == &g_cp_list_mutex ? 1 : 0;
            return system_pthread_mutex_destroy.real(mutex);
        }};
    Replaced<decltype(system_pthread_cond_wait)> wait{
        system_pthread_cond_wait, [this](pthread_cond_t *condition, pthread_mutex_t *mutex) {
            waited_for = waited_for || closes;
            return system_pthread_cond_wait.real(condition, mutex);
        }};
};

} // namespace

TEST_F(RegistryGate, GivesTheLockWhileItIsOpen)
{
    ASSERT_TRUE(registry_lock());
    EXPECT_TRUE(held_by_this_thread(g_cp_list_mutex));
    registry_unlock();
    EXPECT_FALSE(held_by_this_thread(g_cp_list_mutex));
}

TEST_F(RegistryGate, GivesNothingOnceItIsClosed)
{
    registry_close();
    const Replaced lock(system_pthread_mutex_lock, [](pthread_mutex_t *mutex) {
        EXPECT_NE(mutex, &g_cp_list_mutex);
        return system_pthread_mutex_lock.real(mutex);
    });
    EXPECT_FALSE(registry_lock());
    EXPECT_EQ(connected(), 0u);
}

TEST_F(RegistryGate, GivesTheLockAgainOnceItIsOpenedAgain)
{
    registry_close();
    registry_open();
    ASSERT_TRUE(registry_lock());
    EXPECT_EQ(g_cp_list.count, 0u);
    registry_unlock();
}

TEST_F(RegistryGate, HoldsTheLinesBackWhileTheLockIsHeld)
{
    ASSERT_TRUE(registry_lock());
    log_out("inside\n");
    EXPECT_EQ(lines.count("inside\n"), 0u);
    registry_unlock();
    EXPECT_EQ(lines.count("inside\n"), 1u);
}

TEST_F(RegistryGate, EndsEveryConnectionWhenItCloses)
{
    const ListedConnection one;
    const ListedConnection two;
    const ListedConnection used;
    connection_hold(used.record);
    registry_close();
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_EQ(g_cp_list.head, nullptr);
    EXPECT_FALSE(is_open(one.number));
    EXPECT_FALSE(is_open(two.number));
    EXPECT_TRUE(is_open(used.number));
    EXPECT_TRUE(wait_for_end(used.phone.get()));
    connection_release(used.record);
    EXPECT_FALSE(is_open(used.number));
}

TEST_F(RegistryGate, DestroysTheLockOnce)
{
    const WatchedLock watched;
    registry_close();
    registry_close();
    EXPECT_EQ(watched.destroyed, 1);
}

TEST_F(RegistryGate, EndsRetriesBeforeItClosesAndUntilItIsOpenedAgain)
{
    EXPECT_FALSE(registry_retries_stopped());
    registry_stop_retries();
    EXPECT_TRUE(registry_retries_stopped());
    EXPECT_TRUE(registry_lock());
    registry_unlock();
    registry_close();
    EXPECT_TRUE(registry_retries_stopped());
    registry_stop_retries();
    registry_open();
    EXPECT_FALSE(registry_retries_stopped());
}

/* A thread has passed the gate, but has not got the lock yet: closing must not destroy it. */
TEST_F(RegistryGate, WaitsWhenItClosesForAThreadThatIsOnItsWayToTheLock)
{
    WatchedLock watched;
    const Door before_the_lock;
    std::atomic<bool> on_its_way{false};
    std::atomic<bool> gone{false};
    const Replaced lock(system_pthread_mutex_lock, [&](pthread_mutex_t *mutex) {
        if (mutex == &g_cp_list_mutex && on_its_way.exchange(false)) {
            before_the_lock.pass();
            EXPECT_EQ(watched.destroyed, 0);
        }
        return system_pthread_mutex_lock.real(mutex);
    });
    on_its_way = true;
    std::thread guest([&] {
        EXPECT_TRUE(registry_lock());
        gone = true;
        registry_unlock();
    });
    ASSERT_TRUE(before_the_lock.wait_for_somebody());
    std::thread closer([&] {
        closes = true;
        registry_close();
        EXPECT_TRUE(gone);
    });
    EXPECT_TRUE(wait_until([&] { return watched.waited_for || watched.destroyed > 0; }));
    EXPECT_EQ(watched.destroyed, 0);
    const bool let_in = registry_lock(); /* nobody else gets in meanwhile */
    EXPECT_FALSE(let_in);
    if (let_in) {
        registry_unlock();
    }
    before_the_lock.open();
    guest.join();
    closer.join();
    EXPECT_EQ(watched.destroyed, 1);
}

TEST_F(RegistryGate, WaitsAlsoBeforeItMakesANewLock)
{
    const WatchedLock watched;
    std::atomic<bool> opened{false};
    ASSERT_TRUE(registry_lock());
    std::thread opener([&] {
        closes = true;
        registry_open();
        opened = true;
    });
    EXPECT_TRUE(wait_until([&] { return watched.waited_for || opened; }));
    EXPECT_FALSE(opened);
    registry_unlock();
    opener.join();
    EXPECT_TRUE(registry_lock());
    registry_unlock();
}

TEST_F(RegistryGate, StandsManyThreadsThatComeAndGoWhileItOpensAndCloses)
{
    std::atomic<bool> enough{false};
    std::atomic<long> entered{0};
    std::vector<std::thread> guests;
    for (int i = 0; i < 3; i++) {
        guests.emplace_back([&] {
            while (!enough) {
                if (registry_lock()) {
                    entered++;
                    registry_unlock();
                } else {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (int round = 0; round < 200; round++) {
        const long before = entered;
        ASSERT_TRUE(wait_until([&] { return entered > before; }));
        registry_close();
        registry_open();
    }
    enough = true;
    for (std::thread &guest : guests) {
        guest.join();
    }
}
