/* SPDX-License-Identifier: MIT */
/* What the server thread waits for, from pass to pass. */
#include "link/watch.h"

#include "support/process_state.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "unit/link/listed_connection.h"

#include <algorithm>
#include <atomic>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/* More than the system tells in one call. */
const size_t MANY = 150;

/* Watches what a test has listed; nothing is served. */
class Watches : public OpenRegistry
{
protected:
    ~Watches() override
    {
        watch_end(&watch);
    }

    std::vector<int> ready(int limit_ms = 0)
    {
        const int count = watch_wait(&watch, limit_ms);
        std::vector<int> result;
        for (int fd = descriptor_set_next(&watch.ready, 0); fd >= 0;
             fd = descriptor_set_next(&watch.ready, fd + 1)) {
            result.push_back(fd);
        }
        EXPECT_GE(count, static_cast<int>(result.size()));
        return result;
    }

    using Numbers = std::vector<int>;

    const ConnectedPair port = local_pair(); /* readable, as a port at which somebody connects */
    Watch watch = watch_begin(port.near.get());
};

void speak(const ListedConnection &connection)
{
    send_bytes(connection.phone.get(), bytes("01"));
}

} // namespace

TEST_F(Watches, TellAllThatAreReadyInAscendingOrder)
{
    const ListedConnections connections = listed_connections(MANY);
    Numbers numbers;
    for (const auto &connection : connections) {
        numbers.push_back(connection->number);
    }
    std::sort(numbers.begin(), numbers.end());
    for (auto connection = connections.rbegin(); connection != connections.rend(); ++connection) {
        speak(**connection);
    }
    EXPECT_EQ(ready(), numbers);
    EXPECT_EQ(ready(), numbers) << "nobody has received";
}

TEST_F(Watches, TellThePort)
{
    EXPECT_EQ(ready(), Numbers());
    send_bytes(port.far.get(), bytes("01"));
    EXPECT_EQ(ready(), Numbers({port.near.get()}));
}

TEST_F(Watches, FollowTheRegistry)
{
    const ListedConnection first(local_pair());
    speak(first);
    EXPECT_EQ(ready(), Numbers({first.number}));
    const ListedConnection second(local_pair());
    speak(second);
    EXPECT_EQ(ready(), Numbers({first.number, second.number}));
    registry_remove(first.record);
    EXPECT_EQ(ready(), Numbers({second.number}));
}

/* The system goes on to watch what was closed, as long as somebody has a copy. */
TEST_F(Watches, ForgetAConnectionOfWhichAChildOfTheHostHasACopy)
{
    const ListedConnection other(local_pair());
    auto gone = std::make_unique<ListedConnection>(local_pair());
    EXPECT_EQ(ready(), Numbers());
    const Descriptor copy(fcntl(gone->number, F_DUPFD_CLOEXEC, 0));
    registry_remove(gone->record);
    ASSERT_FALSE(is_open(gone->number));
    speak(other);
    EXPECT_EQ(ready(), Numbers({other.number})) << "the system tells the end of the other one, too";
    EXPECT_EQ(watch_wait(&watch, 0), 1);
}

/* The number is the same, and the former connection's copy is still being watched. */
TEST_F(Watches, TakeNoConnectionForAFormerOneOfItsNumber)
{
    auto former = std::make_unique<ListedConnection>(local_pair());
    EXPECT_EQ(ready(), Numbers());
    const Descriptor copy(fcntl(former->number, F_DUPFD_CLOEXEC, 500));
    const int number = former->number;
    registry_remove(former->record);
    ConnectedPair pair = local_pair();
    if (pair.near.get() == number) {
        std::swap(pair.near, pair.far);
    }
    const ListedConnection later(std::move(pair));
    ASSERT_EQ(later.number, number);
    EXPECT_EQ(ready(), Numbers());
    EXPECT_EQ(watch_wait(&watch, 0), 0);
    speak(later);
    EXPECT_EQ(ready(), Numbers({number}));
}

/* A host may have listed a record whose descriptor is not open: nobody else is harmed. */
TEST_F(Watches, ServeOthersBesideARecordWithoutAnOpenDescriptor)
{
    const ListedConnection connection(local_pair());
    HandMadeRecord closed(9999);
    registry_lock();
    EXPECT_EQ(list_insert(&g_cp_list, &closed), 0);
    registry_unlock();
    speak(connection);
    EXPECT_EQ(ready(), Numbers({connection.number}));
    EXPECT_EQ(ready(), Numbers({connection.number}));
    registry_lock();
    list_remove(&g_cp_list, &closed, [](void *) {});
    registry_unlock();
}

TEST_F(Watches, LeaveOutWhatTheSystemDoesNotWatchUntilItDoes)
{
    const ListedConnection connection(local_pair());
    speak(connection);
    EXPECT_EQ(ready(), Numbers({connection.number}));
    const ListedConnection other(local_pair());
    speak(other);
    {
        WatchedCall watching(system_epoll_ctl);
        watching.fail(ENOMEM);
        EXPECT_EQ(ready(), Numbers({connection.number}));
    }
    EXPECT_EQ(ready(), Numbers({connection.number, other.number}));
}

TEST_F(Watches, FailWithoutADescriptorAndThenBegin)
{
    const std::set<int> before = open_descriptors();
    for (SystemFunction *function : {static_cast<SystemFunction *>(&system_epoll_create1),
                                     static_cast<SystemFunction *>(&system_epoll_ctl)}) {
        WatchedCall failing(*function);
        failing.fail(EMFILE);
        errno = 0;
        EXPECT_EQ(watch_wait(&watch, 0), -1);
        EXPECT_EQ(errno, EMFILE);
        EXPECT_EQ(open_descriptors(), before);
    }
    EXPECT_EQ(ready(), Numbers());
}

TEST_F(Watches, FailWithoutMemoryForAllThatAreReady)
{
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ready(), Numbers());
    speak(connection);
    {
        WatchedCall memory(system_realloc);
        memory.fail(ENOMEM);
        errno = 0;
        EXPECT_EQ(watch_wait(&watch, 0), -1);
        EXPECT_EQ(errno, ENOMEM);
    }
    EXPECT_EQ(ready(), Numbers({connection.number}));
}

/* Each has sent something while the host was suspended. */
TEST(WatchedPhones, AreAllReadBeforeTheIdleCheck)
{
    CapturedLines lines;
    FrozenClock clock;
    std::atomic<bool> suspended{false};
    std::vector<std::unique_ptr<Phone>> phones;
    const Replaced wait(system_epoll_wait,
                        [&](int epoll, epoll_event *events, int room, int limit_ms) {
                            if (suspended.exchange(false)) {
                                for (const auto &phone : phones) {
                                    phone->send(bytes("A5"));
                                }
                                clock.advance(40);
                            }
                            return system_epoll_wait.real(epoll, events, room, limit_ms);
                        });
    const TcpService service;
    while (phones.size() < MANY) {
        phones.push_back(std::make_unique<Phone>());
    }
    ASSERT_TRUE(wait_for_connected(MANY));
    suspended = true;
    ASSERT_TRUE(wait_until([&] { return !suspended; }));
    const Phone later;
    for (int pass = 0; pass < 3; pass++) {
        EXPECT_EQ(hex(later.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    EXPECT_TRUE(wait_for_connected(MANY + 1));
    EXPECT_EQ(lines.all().size(), 0u);
}

/* A server thread that is told the same end again and again never waits in vain. */
TEST(WatchedPhones, CostNoPassesWhenAChildOfTheHostHasACopyOfWhatHasEnded)
{
    std::atomic<int> quiet_passes{0};
    const Replaced wait(system_epoll_wait, [&](int epoll, epoll_event *events, int room, int) {
        const int ready = system_epoll_wait.real(epoll, events, room, 10);
        quiet_passes += ready == 0 ? 1 : 0;
        return ready;
    });
    const TcpService service;
    const Phone phone;
    Phone gone;
    ASSERT_TRUE(wait_for_connected(2));
    const Descriptor copy(fcntl(number_of(gone), F_DUPFD_CLOEXEC, 0));
    gone.hang_up();
    ASSERT_TRUE(wait_for_connected(1));
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    const int before = quiet_passes;
    EXPECT_TRUE(wait_until([&] { return quiet_passes >= before + 3; }));
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}
