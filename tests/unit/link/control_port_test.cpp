/* SPDX-License-Identifier: MIT */
#include "support/captured_lines.h"
#include "support/emulator.h"
#include "support/mutex_state.h"
#include "support/process_state.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/flags.h"
#include "tvlink/reply.h"
#include "tvlink/work_queues.h"
#include "unit/link/listed_connection.h"
#include "unit/link/socket_options.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>

namespace
{

using Texts = std::vector<std::string>;
using Numbers = std::vector<int>;

/* More descriptors than the system gives at first. */
class ManyDescriptors
{
public:
    explicit ManyDescriptors(rlim_t count)
    {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &former_), 0);
        rlimit wanted = former_;
        wanted.rlim_cur = count;
        allowed_ = count <= former_.rlim_max && setrlimit(RLIMIT_NOFILE, &wanted) == 0;
    }

    ~ManyDescriptors()
    {
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &former_), 0);
    }

    bool allowed() const
    {
        return allowed_;
    }

private:
    rlimit former_ = {};
    bool allowed_ = false;
};

class ControlPort : public testing::Test
{
protected:
    ~ControlPort() override
    {
        ipp_set_guard(nullptr);
    }

    CapturedLines lines;
};

/* Runs code of the test on the server thread when the host is asked whether a phone may connect. */
class Admission
{
public:
    using Function = std::function<bool(uint32_t peer_addr)>;

    explicit Admission(Function function, IppGuard guard = {}) : function_(std::move(function))
    {
        guard.admit = [](uint32_t peer_addr, void *context) {
            return static_cast<Admission *>(context)->function_(peer_addr) ? 1 : 0;
        };
        guard.admit_context = this;
        EXPECT_EQ(ipp_set_guard(&guard), 0);
    }

    ~Admission()
    {
        ipp_set_guard(nullptr);
    }

private:
    const Function function_;
};

/* Holds the server thread up in the middle of a pass, on demand. */
struct HeldServer {
    std::atomic<bool> armed{false};
    Door door;
    Admission admission{[this](uint32_t) {
        if (armed.exchange(false)) {
            door.pass();
        }
        return true;
    }};

    /* A visitor at whose admission the server waits for the door. */
    bool hold(Phone *visitor)
    {
        armed = true;
        visitor->connect();
        return door.wait_for_somebody();
    }
};

/* Holds the server thread between two passes, in front of its wait. */
struct HeldPass {
    std::atomic<bool> armed{false};
    Door door;
    std::atomic<int> passes{0};
    const Replaced<decltype(system_epoll_wait)> wait{
        system_epoll_wait, [this](int epoll, epoll_event *events, int room, int limit_ms) {
            passes++;
            if (armed.exchange(false)) {
                door.pass();
            }
            return system_epoll_wait.real(epoll, events, room, limit_ms);
        }};

    /* A byte of the visitor's ends the pass that is under way. */
    bool hold(Phone *visitor)
    {
        visitor->connect();
        if (!registered(*visitor)) {
            return false;
        }
        armed = true;
        visitor->send(bytes("A5"));
        return door.wait_for_somebody();
    }
};

} // namespace

TEST_F(ControlPort, RegistersAPhoneAndAnswersItsHeartbeat)
{
    const FrozenClock clock;
    const TcpService service;
    const Phone phone;
    EXPECT_TRUE(look_at(phone, [&](const CtrlPoint &record) {
        EXPECT_EQ(record.peer_addr, htonl(INADDR_LOOPBACK));
        EXPECT_EQ(record.connect_time, clock.now());
        EXPECT_EQ(record.idle_limit, 30);
    }));
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, GivesAcceptedSocketsTheirOptions)
{
    const TcpService service;
    const Phone phone;
    const int number = number_of(phone);
    ASSERT_GE(number, 0);
    EXPECT_NE(option(number, IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_EQ(fcntl(number, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(number, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(time_out(number, SO_RCVTIMEO), one_millisecond());
    EXPECT_EQ(time_out(number, SO_SNDTIMEO), one_millisecond());
}

/* Nobody could stop a send that holds the registry's lock until a phone takes its bytes. */
TEST_F(ControlPort, DoesNotBlockOnSocketsThatTakeNoTimeOut)
{
    for (const int refused : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        std::optional<TcpService> service;
        {
            const Replaced options(system_setsockopt, [refused](int fd, int level, int name,
                                                                const void *value, socklen_t size) {
                if (level == SOL_SOCKET && name == refused) {
                    errno = ENOBUFS;
                    return -1;
                }
                return system_setsockopt.real(fd, level, name, value, size);
            });
            service.emplace();
        }
        const Phone phone;
        const int number = number_of(phone);
        ASSERT_GE(number, 0);
        EXPECT_EQ(fcntl(number, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    }
}

TEST_F(ControlPort, LeavesNoDescriptorToAChildOfTheHost)
{
    const std::set<int> before = inheritable_descriptors();
    std::atomic<int> flags{0};
    const Replaced accept(system_accept4, [&](int fd, sockaddr *address, socklen_t *size, int how) {
        flags = how;
        return system_accept4.real(fd, address, size, how);
    });
    const TcpService service;
    const Phone phone;
    ASSERT_TRUE(registered(phone));
    EXPECT_EQ(inheritable_descriptors(), before);
    EXPECT_EQ(flags & SOCK_CLOEXEC, SOCK_CLOEXEC); /* from the first moment on */
}

TEST_F(ControlPort, KeepsPhonesInOrderOfConnection)
{
    const TcpService service;
    std::vector<std::unique_ptr<Phone>> phones;
    std::vector<void *> expected;
    for (int i = 0; i < 5; i++) {
        phones.push_back(std::make_unique<Phone>());
        expected.push_back(record_of(*phones.back()));
    }
    registry_lock();
    const std::vector<void *> listed = elements(g_cp_list);
    registry_unlock();
    EXPECT_EQ(listed, expected);
}

TEST_F(ControlPort, RoutesRequestsInOrderAndAnswersOnTheSameConnection)
{
    const GetRequests requests([](CtrlPoint *item, const Bytes &body) { echo(item, body); });
    const TcpService service;
    const Phone one;
    const Phone two;
    one.send(joined({wire_frame(5, bytes("'a'")), wire_frame(5, bytes("'bc'"))}));
    two.send(wire_frame(5, bytes("'d'")));
    EXPECT_EQ(hex(one.read_frame()), hex(wire_frame(6, bytes("'a'"))));
    EXPECT_EQ(hex(one.read_frame()), hex(wire_frame(6, bytes("'bc'"))));
    EXPECT_EQ(hex(two.read_frame()), hex(wire_frame(6, bytes("'d'"))));
}

TEST_F(ControlPort, AnswersNoFrameOfATypeThatIsNotAsked)
{
    const GetRequests requests([](CtrlPoint *item, const Bytes &body) { echo(item, body); });
    const TcpService service;
    const Phone phone;
    for (const int type : {0x00, 0x06, 0x08, 0x09, 0x0A, 0x22, 0x7F, 0xED, 0xEF, 0xFF}) {
        phone.send(wire_frame(static_cast<uint8_t>(type), bytes("01 02 03 04")));
        phone.send(wire_frame(5, {static_cast<uint8_t>(type)})); /* in the same queue, behind it */
        EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(6, {static_cast<uint8_t>(type)})));
    }
}

TEST_F(ControlPort, DropsAPhoneThatHangsUp)
{
    const TcpService service;
    Phone phone;
    const int number = number_of(phone);
    ASSERT_GE(number, 0);
    phone.hang_up();
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
    EXPECT_EQ(connected(), 0u);
    EXPECT_TRUE(lines.wait_for(CLOSED_LINE));
    EXPECT_EQ(lines.count(CLOSED_LINE), 1u);
}

TEST_F(ControlPort, DropsAPhoneThatResets)
{
    const TcpService service;
    Phone phone;
    const int number = number_of(phone);
    ASSERT_GE(number, 0);
    phone.reset();
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
    EXPECT_EQ(connected(), 0u);
    EXPECT_TRUE(lines.wait_for(CLOSED_LINE));
}

TEST_F(ControlPort, TakesWhatAPhoneSentBeforeItHungUp)
{
    std::atomic<int> served{0};
    const GetRequests requests([&](CtrlPoint *, const Bytes &) { served++; });
    const TcpService service;
    Phone phone;
    phone.send(joined({wire_frame(5, {}), wire_frame(5, {}), wire_frame(5, {})}));
    phone.hang_up();
    EXPECT_TRUE(wait_until([&] { return served == 3; }));
    EXPECT_TRUE(wait_for_connected(0));
}

TEST_F(ControlPort, WaitsOneAndAHalfSecondsInEveryPass)
{
    std::mutex lock;
    std::vector<int> limits;
    const Replaced wait(system_epoll_wait,
                        [&](int epoll, epoll_event *events, int room, int limit_ms) {
                            {
                                const std::lock_guard<std::mutex> guard(lock);
                                limits.push_back(limit_ms);
                            }
                            return system_epoll_wait.real(epoll, events, room, limit_ms);
                        });
    const TcpService service;
    const Phone phone;
    for (int i = 0; i < 3; i++) {
        phone.exchange_heartbeat();
    }
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_GE(limits.size(), 4u);
    for (const int limit_ms : limits) {
        EXPECT_EQ(limit_ms, 1500);
    }
}

TEST_F(ControlPort, GoesOnAfterAFailedPassWithoutTheIdleCheck)
{
    FrozenClock clock;
    std::atomic<bool> at_rest{false};
    std::atomic<int> failures{0};
    std::atomic<int> pauses{0};
    const Replaced wait(system_epoll_wait,
                        [&](int epoll, epoll_event *events, int room, int limit_ms) {
                            at_rest = true;
                            const int ready = system_epoll_wait.real(epoll, events, room, limit_ms);
                            at_rest = false;
                            if (failures > 0) {
                                failures--;
                                errno = EBADF;
                                return -1;
                            }
                            return ready;
                        });
    const Replaced pause(system_usleep, [&](useconds_t microseconds) {
        pauses += microseconds == 10000 ? 1 : 0;
        return system_usleep.real(microseconds);
    });
    const TcpService service;
    const Phone silent;
    const Phone phone;
    ASSERT_TRUE(wait_for_connected(2));
    phone.exchange_heartbeat();
    ASSERT_TRUE(wait_until([&] { return at_rest.load(); }));
    lines.clear();
    failures = 3;
    clock.advance(31);
    phone.send(phone_heartbeat());
    EXPECT_TRUE(silent.is_dropped());
    EXPECT_TRUE(lines.wait_for(TIMEOUT_LINE));
    Texts all;
    for (const Line &line : lines.all()) {
        all.push_back(line.text);
    }
    EXPECT_EQ(all, Texts({"err: select() fail\n", "select: Bad file descriptor\n",
                          "err: select() fail\n", "select: Bad file descriptor\n",
                          "err: select() fail\n", "select: Bad file descriptor\n", TIMEOUT_LINE}));
    EXPECT_EQ(pauses, 3);
    EXPECT_EQ(hex(phone.read_frame()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, ServesAnyNumberOfReadyPhonesInOnePass)
{
    for (const size_t count : {200u, 255u, 256u}) {
        SCOPED_TRACE(count);
        const ManyDescriptors limit(1000);
        HeldServer held;
        const TcpService service;
        std::vector<std::unique_ptr<Phone>> phones;
        while (phones.size() < count) {
            phones.push_back(std::make_unique<Phone>());
            ASSERT_TRUE(registered(*phones.back()));
        }
        Phone visitor{Phone::Later()};
        ASSERT_TRUE(held.hold(&visitor));
        for (const auto &phone : phones) {
            phone->send(bytes("A5 A5 A5"));
        }
        held.door.open();
        EXPECT_TRUE(wait_until([&] {
            size_t served = 0;
            registry_lock();
            for (const void *element : elements(g_cp_list)) {
                const int number = static_cast<const CtrlPoint *>(element)->fd;
                char byte = 0;
                served += recv(number, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 ? 1 : 0;
            }
            registry_unlock();
            return served == count + 1;
        }));
        EXPECT_EQ(lines.count("err: select() fail\n"), 0u);
    }
}

TEST_F(ControlPort, ServesPhonesBeyondTheFirst1024Descriptors)
{
    const ManyDescriptors limit(1400);
    if (!limit.allowed()) {
        GTEST_SKIP() << "the system does not allow 1400 descriptors";
    }
    const TcpService service;
    std::vector<Descriptor> dummies;
    while (dummies.size() < 1100) {
        dummies.emplace_back(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        ASSERT_GE(dummies.back().get(), 0);
    }
    Phone first;
    const Phone second;
    EXPECT_GT(number_of(first), 1024);
    EXPECT_EQ(hex(first.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(second.exchange_heartbeat()), hex(answer_heartbeat()));
    first.hang_up();
    EXPECT_TRUE(wait_for_connected(1));
    EXPECT_EQ(hex(second.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, AcceptsAllThatTheBacklogHoldsInOnePass)
{
    const size_t waiting = 20;
    HeldPass held;
    std::vector<int> accepted_in; /* each in which pass */
    const Replaced accept(system_accept4, [&](int fd, sockaddr *address, socklen_t *size, int how) {
        const int result = system_accept4.real(fd, address, size, how);
        if (result >= 0) {
            accepted_in.push_back(held.passes);
        }
        return result;
    });
    const TcpService service;
    Phone visitor{Phone::Later()};
    ASSERT_TRUE(held.hold(&visitor));
    accepted_in.clear();
    const std::vector<Phone> phones(waiting);
    held.door.open();
    ASSERT_TRUE(wait_for_connected(waiting + 1));
    EXPECT_EQ(accepted_in, std::vector<int>(waiting, accepted_in.front()));
    EXPECT_EQ(hex(phones.back().exchange_heartbeat()), hex(answer_heartbeat()));
}

/* ---- Want of descriptors */

namespace
{

/* Lets every accept fail, or lets it go to the system; notes accepts that failed and pauses. */
class WatchedAccepts
{
public:
    std::atomic<int> error{0};

    Texts notes() const
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return notes_;
    }

    bool wait_for_failures(size_t count) const
    {
        return wait_until([&] {
            const Texts all = notes();
            return static_cast<size_t>(std::count(all.begin(), all.end(), "fail")) >= count;
        });
    }

private:
    void note(const std::string &text)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        notes_.push_back(text);
    }

    mutable std::mutex lock_;
    Texts notes_;
    const Replaced<decltype(system_accept4)> accept_{
        system_accept4, [this](int fd, sockaddr *address, socklen_t *size, int flags) {
            if (error != 0) {
                errno = error;
            }
            const int result = error != 0 ? -1 : system_accept4.real(fd, address, size, flags);
            if (result < 0 && errno != EAGAIN) {
                const int reason = errno;
                note("fail");
                errno = reason;
            }
            return result;
        }};
    const Replaced<decltype(system_usleep)> pause_{system_usleep, [this](useconds_t microseconds) {
                                                       note("pause " +
                                                            std::to_string(microseconds));
                                                       return system_usleep.real(microseconds);
                                                   }};
};

void expect_a_pause_after_every_failure(const Texts &notes)
{
    for (size_t i = 0; i + 1 < notes.size(); i += 2) {
        ASSERT_EQ(notes[i], "fail") << i;
        ASSERT_EQ(notes[i + 1], "pause 10000") << i;
    }
}

} // namespace

TEST_F(ControlPort, DoesNotSpinWhenDescriptorsRunOutAndRecovers)
{
    WatchedAccepts accepts;
    const TcpService service;
    const Phone settled;
    ASSERT_TRUE(registered(settled));
    Phone waiting{Phone::Later()};
    rlimit former = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit tight = former;
    tight.rlim_cur = static_cast<rlim_t>(*open_descriptors().rbegin()) + 1;
    std::vector<Descriptor> fillers;
    fillers.reserve(tight.rlim_cur);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    for (int fd = dup(STDERR_FILENO); fd >= 0; fd = dup(STDERR_FILENO)) {
        fillers.emplace_back(fd);
    }
    EXPECT_EQ(errno, EMFILE);

    waiting.connect();
    EXPECT_TRUE(accepts.wait_for_failures(20));
    EXPECT_EQ(hex(settled.exchange_heartbeat()), hex(answer_heartbeat()));
    expect_a_pause_after_every_failure(accepts.notes());
    EXPECT_EQ(connected(), 1u);

    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_EQ(hex(waiting.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, DoesNotSpinWhenTheSystemRefusesNewConnections)
{
    for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM, EPERM, EACCES, ENOTSOCK}) {
        WatchedAccepts accepts;
        accepts.error = error;
        const TcpService service;
        const Phone waiting;
        EXPECT_TRUE(accepts.wait_for_failures(5));
        expect_a_pause_after_every_failure(accepts.notes());
        accepts.error = 0;
        EXPECT_EQ(hex(waiting.exchange_heartbeat()), hex(answer_heartbeat()));
    }
}

TEST_F(ControlPort, DoesNotSpinWhenThereIsNoMemoryForABuffer)
{
    std::atomic<int> pauses{0};
    const Replaced pause(system_usleep, [&](useconds_t microseconds) {
        pauses += microseconds == 10000 ? 1 : 0;
        return system_usleep.real(microseconds);
    });
    const TcpService service;
    const Phone phone;
    ASSERT_TRUE(registered(phone));
    WatchedCall allocation(system_realloc, Threads::EVERY);
    allocation.fail(ENOMEM, 1, 10);
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(pauses, 10);
}

TEST_F(ControlPort, ClosesTheSocketOfAPhoneForWhichThereIsNoMemory)
{
    const TcpService service;
    const Phone before;
    ASSERT_TRUE(registered(before));
    {
        WatchedCall allocation(system_calloc, Threads::EVERY);
        allocation.fail(ENOMEM, 1, 1);
        const Phone unlucky;
        EXPECT_TRUE(unlucky.is_dropped());
        EXPECT_EQ(connected(), 1u);
    }
    const Phone after;
    EXPECT_EQ(hex(after.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, IsServedWhileTheHostsFlagIsAnythingButZero)
{
    const TcpService service;
    const Phone before;
    ASSERT_TRUE(registered(before));
    for (const uint8_t running : {uint8_t{2}, uint8_t{0x80}, uint8_t{0xFF}}) {
        __atomic_store_n(&g_thread_run, running, __ATOMIC_RELEASE);
        for (int i = 0; i < 3; i++) { /* each in a pass of its own */
            ASSERT_EQ(hex(before.exchange_heartbeat()), hex(answer_heartbeat()));
        }
        const Phone after;
        EXPECT_EQ(hex(after.exchange_heartbeat()), hex(answer_heartbeat()));
    }
}

/* A pass that waits for ever without the stop. */
TEST_F(ControlPort, EndsItsPassWhenTheServiceStops)
{
    std::atomic<int> passes{0};
    const Replaced wait(system_epoll_wait, [&](int epoll, epoll_event *events, int room, int) {
        passes++;
        return system_epoll_wait.real(epoll, events, room, -1);
    });
    const std::set<int> before = open_descriptors();
    TcpService service;
    for (int round = 0; round < 20; round++) {
        {
            const Phone phone;
            EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
        }
        service.stop();
        EXPECT_TRUE(wait_until([&] { return no_more_descriptors_than(before); }));
        service.start();
    }
    EXPECT_GT(passes, 20);
}

/* ---- A number that is handed out again within one pass */

namespace
{

/* A pass in which an old phone's number is ready, and which accepts a new phone first. Between the
 * two the old one is dropped by another thread, and then `meanwhile` runs. */
class ReusedNumber
{
public:
    explicit ReusedNumber(std::function<void()> meanwhile) : meanwhile_(std::move(meanwhile))
    {
    }

    bool happened()
    {
        CtrlPoint *record = record_of(old_);
        if (record == nullptr || old_.exchange_heartbeat() != answer_heartbeat()) {
            return false;
        }
        number = number_of(old_);
        if (g_tcp_sock > number || !held_.hold(&visitor_)) {
            return false;
        }
        old_.finish_sending();
        newcomer.connect();
        victim_ = record;
        held_.door.open();
        return registered(newcomer) && victim_ == nullptr;
    }

    int number = -1; /* of the old phone */
    Phone newcomer{Phone::Later()};

private:
    const std::function<void()> meanwhile_;
    std::atomic<CtrlPoint *> victim_{nullptr};
    HeldPass held_;
    const Replaced<decltype(system_accept4)> accept_{
        system_accept4, [this](int fd, sockaddr *address, socklen_t *size, int flags) {
            CtrlPoint *victim = victim_.exchange(nullptr);
            if (victim != nullptr) {
                std::thread([victim] { drop(victim); }).join();
                wait_until([this] { return !is_open(number); }); /* its last answer is sent */
                meanwhile_();
            }
            return system_accept4.real(fd, address, size, flags);
        }};
    const TcpService service_;
    Phone old_;
    Phone visitor_{Phone::Later()};
};

} // namespace

TEST_F(ControlPort, DoesNotDropANewPhoneThatGotTheNumberOfAReadyOne)
{
    ReusedNumber reused([] {});
    ASSERT_TRUE(reused.happened());
    ASSERT_EQ(number_of(reused.newcomer), reused.number);
    EXPECT_EQ(hex(reused.newcomer.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(lines.count(CLOSED_LINE), 0u);
}

TEST_F(ControlPort, DoesNotTouchADescriptorOfTheHostThatGotTheNumberOfAReadyPhone)
{
    ConnectedPair own;
    ReusedNumber reused([&] { own = local_pair(); });
    ASSERT_TRUE(reused.happened());
    ASSERT_EQ(own.near.get(), reused.number);
    EXPECT_EQ(hex(reused.newcomer.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(lines.count(CLOSED_LINE), 0u);
    ASSERT_TRUE(is_open(own.near.get()));
    send_bytes(own.near.get(), bytes("77"));
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 1)), "77");
}

/* ---- Idle phones */

TEST_F(ControlPort, DropsAPhoneThatStaysSilent)
{
    FrozenClock clock;
    const TcpService service;
    const Phone silent;
    const Phone busy;
    ASSERT_TRUE(wait_for_connected(2));
    for (int i = 0; i < 3; i++) {
        clock.advance(10);
        EXPECT_EQ(hex(busy.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    EXPECT_EQ(connected(), 2u);
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 0u);
    clock.advance(1);
    EXPECT_EQ(hex(busy.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_TRUE(silent.is_dropped());
    EXPECT_TRUE(lines.wait_for(TIMEOUT_LINE));
    for (int i = 0; i < 6; i++) {
        clock.advance(10);
        EXPECT_EQ(hex(busy.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 1u);
    EXPECT_EQ(connected(), 1u);
}

TEST_F(ControlPort, DropsAPhoneThatStaysSilentAlsoWhenNothingElseHappens)
{
    FrozenClock clock;
    std::atomic<int> quiet_passes{0};
    std::atomic<int> other_passes{0};
    const Replaced wait(system_epoll_wait, [&](int epoll, epoll_event *events, int room, int) {
        const int ready = system_epoll_wait.real(epoll, events, room, 1);
        (ready == 0 ? quiet_passes : other_passes)++;
        return ready;
    });
    const TcpService service;
    const Phone silent;
    ASSERT_TRUE(registered(silent));
    const int before = quiet_passes;
    ASSERT_TRUE(wait_until([&] { return quiet_passes > before; })); /* it is accepted */
    const int others = other_passes;
    clock.advance(31);
    EXPECT_TRUE(silent.is_dropped());
    EXPECT_EQ(other_passes, others);
}

TEST_F(ControlPort, TakesAnyByteForASignOfLife)
{
    FrozenClock clock;
    const TcpService service;
    const Phone phone;
    const Phone busy;
    ASSERT_TRUE(wait_for_connected(2));
    clock.advance(30);
    phone.send(bytes("00"));
    busy.exchange_heartbeat();
    EXPECT_TRUE(wait_until([&] {
        uint32_t active = 0;
        look_at(phone, [&](const CtrlPoint &record) {
            active = __atomic_load_n(&record.last_active, __ATOMIC_RELAXED);
        });
        return active == clock.now();
    }));
    clock.advance(30);
    busy.exchange_heartbeat();
    busy.exchange_heartbeat(); /* the pass of the first is over */
    EXPECT_EQ(connected(), 2u);
}

TEST_F(ControlPort, DropsTwoIdlePhonesInTwoSuccessivePasses)
{
    FrozenClock clock;
    std::mutex lock;
    int passes = 0;
    std::vector<std::pair<int, int>> closed; /* number and pass */
    Numbers watched;
    const Replaced wait(system_epoll_wait,
                        [&](int epoll, epoll_event *events, int room, int limit_ms) {
                            {
                                const std::lock_guard<std::mutex> guard(lock);
                                passes++;
                            }
                            return system_epoll_wait.real(epoll, events, room, limit_ms);
                        });
    const Replaced close(system_close, [&](int fd) {
        {
            const std::lock_guard<std::mutex> guard(lock);
            if (std::find(watched.begin(), watched.end(), fd) != watched.end()) {
                closed.emplace_back(fd, passes);
            }
        }
        return system_close.real(fd);
    });
    const TcpService service;
    const Phone earlier;
    ASSERT_TRUE(registered(earlier));
    const Phone later;
    ASSERT_TRUE(registered(later));
    const Numbers numbers = {number_of(earlier), number_of(later)};
    {
        const std::lock_guard<std::mutex> guard(lock);
        watched = numbers;
    }
    clock.advance(31);
    const Phone visitor; /* begins the first pass; the second comes by itself */
    EXPECT_TRUE(earlier.is_dropped());
    visitor.exchange_heartbeat();
    EXPECT_TRUE(later.is_dropped());
    EXPECT_TRUE(lines.wait_for(TIMEOUT_LINE, 2));
    const std::lock_guard<std::mutex> guard(lock);
    ASSERT_EQ(closed.size(), 2u);
    EXPECT_EQ(Numbers({closed[0].first, closed[1].first}), watched);
    EXPECT_EQ(closed[1].second, closed[0].second + 1);
}

/* A broadcast to a stalled phone holds the registry for as long as the phone likes. What others
 * send meanwhile is read in the next pass, and the look at the silent ones comes before it. */
TEST_F(ControlPort, DropsOneOfThosePhonesWhoseBytesAPassThatWasHeldUpHasNotRead)
{
    FrozenClock clock;
    const TcpService service;
    const Phone first;
    ASSERT_TRUE(registered(first));
    const Phone second;
    ASSERT_TRUE(registered(second));
    const Phone third;
    ASSERT_TRUE(registered(third));
    registry_lock();
    third.send(phone_heartbeat());
    EXPECT_TRUE(wait_until([] { return has_waiters(g_cp_list_mutex); }));
    clock.advance(31);
    first.send(phone_heartbeat());
    second.send(phone_heartbeat());
    registry_unlock();
    EXPECT_TRUE(first.is_dropped());
    EXPECT_EQ(hex(second.read_frame()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(third.read_frame()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(second.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(connected(), 2u);
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 1u);
}

/* ---- The guard */

TEST_F(ControlPort, AdmitsAsManyPhonesAsTheGuardAllows)
{
    IppGuard guard = {};
    guard.max_ctrlpoints = 2;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const TcpService service;
    Phone one;
    ASSERT_TRUE(registered(one));
    const Phone two;
    ASSERT_TRUE(registered(two));
    const Phone three;
    EXPECT_TRUE(three.is_dropped());
    EXPECT_EQ(connected(), 2u);
    one.hang_up();
    ASSERT_TRUE(wait_for_connected(1));
    const Phone four;
    EXPECT_EQ(hex(four.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(two.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(ControlPort, ClosesTheSocketOfAPhoneThatIsOneTooMany)
{
    IppGuard guard = {};
    guard.max_ctrlpoints = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const TcpService service;
    const Phone one;
    ASSERT_TRUE(registered(one));
    const std::set<int> before = open_descriptors();
    {
        const Phone two;
        EXPECT_TRUE(two.is_dropped());
    }
    EXPECT_TRUE(no_more_descriptors_than(before));
}

TEST_F(ControlPort, DropsAPhoneThatAnnouncesALongerFrameThanTheGuardAllows)
{
    IppGuard guard = {};
    guard.max_frame_length = 100;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const GetRequests requests([](CtrlPoint *item, const Bytes &body) { echo(item, body); });
    const TcpService service;
    const Phone good;
    good.send(wire_frame(5, Bytes(28)));
    EXPECT_EQ(hex(good.read_frame()), hex(wire_frame(6, Bytes(28))));
    const Phone bad;
    const int number = number_of(bad);
    ASSERT_GE(number, 0);
    bad.send(wire_frame(5, Bytes(29)));
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
    EXPECT_EQ(connected(), 1u);
    EXPECT_EQ(lines.count(CLOSED_LINE), 0u);
}

TEST_F(ControlPort, AsksTheHostAboutEveryPhoneWithNoLockHeld)
{
    std::atomic<int> asked{0};
    std::atomic<int> wrong{0};
    std::atomic<bool> answer{true};
    {
        const Admission admission([&](uint32_t peer_addr) {
            const bool locked = held_by_this_thread(g_cp_list_mutex);
            wrong += locked || peer_addr != htonl(INADDR_LOOPBACK) ? 1 : 0;
            if (!locked) {
                sendto_all_ctrlpoint(9, "x", 1); /* the host may call the library */
            }
            asked++;
            return answer.load();
        });
        const TcpService service;
        const Phone welcome;
        EXPECT_EQ(hex(welcome.exchange_heartbeat()), hex(answer_heartbeat()));
        answer = false;
        const std::set<int> before = open_descriptors();
        {
            const Phone stranger;
            EXPECT_TRUE(stranger.is_dropped());
        }
        EXPECT_TRUE(no_more_descriptors_than(before));
        EXPECT_EQ(asked, 2);
        EXPECT_EQ(connected(), 1u);
        EXPECT_EQ(hex(welcome.read_frame()), hex(wire_frame(9, bytes("'x'"))));
        EXPECT_EQ(hex(welcome.exchange_heartbeat()), hex(answer_heartbeat()));
        answer = true;
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(ControlPort, LetsTheHostChangeItsGuardWhileItIsAsked)
{
    std::atomic<int> asked{0};
    const Admission admission([&](uint32_t) {
        asked++;
        return ipp_set_guard(nullptr) == 0;
    });
    const TcpService service;
    const Phone one;
    const Phone two;
    EXPECT_EQ(hex(one.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(hex(two.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(asked, 1);
}

TEST_F(ControlPort, PrintsWithNoLockHeld)
{
    struct Check {
        std::atomic<int> lines{0};
        std::atomic<int> held{0};
    } check;
    ipp_set_log_sink(
        [](int, const char *, void *context) {
            Check *to = static_cast<Check *>(context);
            const bool held = held_by_this_thread(g_cp_list_mutex) ||
                              held_by_this_thread(devCallBackMutex) ||
                              held_by_this_thread(heartBeatFeedbackMutex);
            to->held += held ? 1 : 0;
            if (!held) {
                connected(); /* takes the registry's lock */
            }
            to->lines++;
        },
        &check);
    {
        FrozenClock clock;
        const TcpService service;
        Phone leaving;
        const Phone silent;
        const Phone busy;
        ASSERT_TRUE(wait_for_connected(3));
        leaving.hang_up();
        ASSERT_TRUE(wait_for_connected(2));
        clock.advance(31);
        busy.exchange_heartbeat();
        EXPECT_TRUE(silent.is_dropped());
    }
    ipp_set_log_sink(nullptr, nullptr);
    EXPECT_GE(check.lines, 3); /* one left, one was idle, the thread's end */
    EXPECT_EQ(check.held, 0);
}
