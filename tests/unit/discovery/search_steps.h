/* SPDX-License-Identifier: MIT */
/* Searches and their answers: packets, lines, and what the tests of the discovery thread share. */
#pragma once

#include "base/flags.h"
#include "discovery/discovery.h"
#include "net/stop_signal.h"
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/libc_texts.h"
#include "support/own_network.h"
#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/wait_until.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>

inline const char *const SEARCH = "A5 A5 08 00 41 49 49 50";
constexpr uint16_t SEARCH_PORT = 12426;
constexpr uint16_t ANSWER_PORT = 9988;
constexpr uint64_t RECEIVE_PAUSE_US = 10000;

/* magic, length 12, 10.20.30.40, port 8801, device type 0x1234 */
inline const char *const ANSWER = "A5 A5 0C 00 0A 14 1E 28 61 22 34 12";

inline const std::vector<std::string> NETWORK = {
    "ip link set lo up", "ip addr add 10.20.30.40/24 dev lo", "ip route add 224.0.0.0/4 dev lo"};

inline const char *const DISCOVERY_ENDS = "zqt===  udp_thread 317\n";

inline std::string receipt(size_t size, const std::string &from = "127.0.0.1")
{
    return "UDP:recv from Control Point:ip=" + from + ",recv_len=" + std::to_string(size) + "\n";
}

inline std::string recognition(const std::string &from = "127.0.0.1")
{
    return "check_search_packet true " + from + "\n";
}

inline std::string response(const std::string &to = "127.0.0.1")
{
    return "response_cp_search " + to + " \n";
}

/* The delay that a television with this time of day draws. */
inline uint64_t drawn_delay(time_t now)
{
    srand(static_cast<unsigned>(now));
    return 100000 + static_cast<uint64_t>(rand() % 250000);
}

/* What the guard's admit is asked, and what it answers. */
struct Doorman {
    std::atomic<int> answer{1};
    std::mutex lock;
    std::vector<uint32_t> asked;

    std::vector<uint32_t> all_asked()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return asked;
    }
};

inline int ask(uint32_t peer_addr, void *context)
{
    Doorman *doorman = static_cast<Doorman *>(context);
    const std::lock_guard<std::mutex> guard(doorman->lock);
    doorman->asked.push_back(peer_addr);
    return doorman->answer;
}

/* Something that another thread is to do, once. */
class Errand
{
public:
    void set(std::function<void()> what)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        what_ = std::move(what);
    }

    void run()
    {
        std::function<void()> what;
        {
            const std::lock_guard<std::mutex> guard(lock_);
            what.swap(what_);
        }
        if (what) {
            what();
        }
    }

private:
    std::mutex lock_;
    std::function<void()> what_;
};

/* The discovery thread with the stop signal that the service gives it. None of its sleeps is waited
 * for. */
class SignalledTelevision
{
public:
    explicit SignalledTelevision(const CapturedLines &lines)
    {
        lines.clear();
        stop_signal_open();
        thread_ = std::thread([this] {
            const TakenSleeps sleeps([this](uint64_t microseconds) { take(microseconds); });
            result_ = udp_thread(nullptr);
        });
        EXPECT_TRUE(lines.wait_for(JOINED));
        lines.clear();
    }

    ~SignalledTelevision()
    {
        stop();
    }

    void *stop()
    {
        flags_stop_running();
        stop_signal_raise();
        wait_for_end();
        stop_signal_close();
        return result_;
    }

    void *wait_for_end()
    {
        if (thread_.joinable()) {
            thread_.join();
        }
        return result_;
    }

    std::vector<uint64_t> sleeps()
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return sleeps_;
    }

    /* Runs on the discovery thread in place of its next sleep. */
    void during_next_sleep(std::function<void()> what)
    {
        errand_.set(std::move(what));
    }

private:
    void take(uint64_t microseconds)
    {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            sleeps_.push_back(microseconds);
        }
        errand_.run();
    }

    std::thread thread_;
    void *result_ = nullptr;
    std::mutex lock_;
    std::vector<uint64_t> sleeps_;
    Errand errand_;
};

/* Counts the receives on the discovery socket. */
class CountedReceives
{
public:
    int all() const
    {
        return all_;
    }

    /* The next one fails with this errno, or with 0 receives nothing from no one. */
    void fail_next(int error)
    {
        error_ = error;
    }

private:
    static constexpr int NO_FAILURE = -1;

    std::atomic<int> all_{0};
    std::atomic<int> error_{NO_FAILURE};
    const Replaced<decltype(system_recvfrom)> receive_{
        system_recvfrom,
        [this](int fd, void *data, size_t size, int flags, sockaddr *from,
               socklen_t *from_size) -> ssize_t {
            if (fd != __atomic_load_n(&g_udp_sock, __ATOMIC_ACQUIRE)) { /* the phone's */
                return system_recvfrom.real(fd, data, size, flags, from, from_size);
            }
            all_++;
            const int error = error_.exchange(NO_FAILURE);
            if (error == NO_FAILURE) {
                return system_recvfrom.real(fd, data, size, flags, from, from_size);
            }
            errno = error;
            return error == 0 ? 0 : -1;
        }};
};

/* A test of the discovery thread, which the test starts itself. */
class SearchTest : public testing::Test
{
protected:
    void SetUp() override
    {
        threads_before = thread_count();
        g_udp_sock = -1;
        flags_set_device_type(0x1234);
        flags_start_run();
    }

    /* The threads that nobody joins must not reach into the next test. */
    void TearDown() override
    {
        flags_stop_running();
        discovery_join();
        EXPECT_TRUE(wait_until([&] { return thread_count() <= threads_before; }));
        flags_set_device_type(0);
        ipp_set_guard(nullptr);
        g_udp_sock = -1;
    }

    void in_network(const std::vector<std::string> &network, const std::function<void()> &body)
    {
        if (!in_own_network(network, body)) {
            GTEST_SKIP() << "this system allows no network of one's own";
        }
    }

    size_t threads_before = 0;
    CapturedLines lines;
};

inline void send_search_from(const Descriptor &phone)
{
    EXPECT_TRUE(send_datagram(phone.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
}
