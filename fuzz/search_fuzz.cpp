/* SPDX-License-Identifier: MIT */
/* Datagrams at the discovery socket. The body of the discovery thread runs here, from the creation
 * of its socket to its end; its replaced system calls deliver one datagram after the other.
 *
 * Input: the senders that the guard refuses; the guard's max_search_answers; then of each datagram
 * size, sender (4 bytes), with max_search_answers the time since the one before it / 10 ms, and
 * bytes.
 *
 * Under test: source/discovery/discovery.cpp source/discovery/answer_packet.cpp
 * source/discovery/waiting_answers.cpp */
#include "base/flags.h"
#include "support/fuzz_input.h"
#include "support/quiet_system.h"
#include "support/system_calls.h"
#include "tvlink.h"
#include "tvlink/discovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <netinet/in.h>

namespace
{

/* Under max_search_answers. */
struct Waiting {
    uint32_t address;
    uint64_t since_ms;
};

struct Network {
    FuzzInput input;
    uint32_t refused; /* the guard refuses addresses with one of these bits */
    uint32_t limit;   /* max_search_answers */
    uint64_t now_ms;
    bool asks;    /* the owner is asked about the current datagram */
    bool drained; /* the input is used up, and every answer that waits is due */
    std::vector<uint32_t> expected;
    std::vector<uint32_t> answered;
    std::vector<Waiting> waiting;
};

const uint64_t SHORTEST_DELAY_MS = 100;
const uint64_t LONGEST_DELAY_MS = 350;
const uint64_t TIME_UNIT_MS = 10;

Network network;

} // namespace

static bool is_search(const uint8_t *bytes, size_t size)
{
    static const uint8_t SEARCH[] = {0xA5, 0xA5, 8, 0, 0x41, 0x49, 0x49, 0x50};
    return size >= sizeof SEARCH && memcmp(bytes, SEARCH, sizeof SEARCH) == 0;
}

static bool is_admitted(uint32_t address)
{
    return (address & network.refused) == 0;
}

/* ---- Answers that wait */

static auto find_waiting(uint32_t address)
{
    return std::find_if(network.waiting.begin(), network.waiting.end(),
                        [&](const Waiting &waiting) { return waiting.address == address; });
}

static bool has_room(uint32_t address)
{
    return network.waiting.size() < network.limit && find_waiting(address) == network.waiting.end();
}

/* Each has its own delay, which is over at the latest before the next datagram is received. */
static void check_delays()
{
    for (const Waiting &waiting : network.waiting) {
        must(network.now_ms - waiting.since_ms < LONGEST_DELAY_MS, "an answer is sent in time");
    }
}

static void note_answer(uint32_t address)
{
    const auto waiting = find_waiting(address);
    must(waiting != network.waiting.end(), "one answer is sent for each address that waits");
    must(network.now_ms - waiting->since_ms >= SHORTEST_DELAY_MS, "an answer is delayed");
    network.waiting.erase(waiting);
}

static void note_search(uint32_t address)
{
    network.asks = network.limit == 0 || has_room(address);
    if (!network.asks || !is_admitted(address)) {
        return;
    }
    if (network.limit == 0) {
        network.expected.push_back(address);
    } else {
        network.waiting.push_back({address, network.now_ms});
    }
}

/* ---- The system */

static int admit(uint32_t peer_addr, void *)
{
    must(network.asks, "the owner is asked about each search that may be answered, and no other");
    return is_admitted(peer_addr);
}

static ssize_t receive_nothing()
{
    if (network.drained) {
        flags_stop_running();
    }
    network.drained = true;
    network.now_ms += LONGEST_DELAY_MS;
    errno = EAGAIN;
    return -1;
}

static ssize_t receive(int, void *data, size_t size, int, sockaddr *from, socklen_t *)
{
    check_delays();
    network.asks = false;
    if (network.input.left == 0) {
        return receive_nothing();
    }
    const size_t length = fuzz_u8(&network.input);
    sockaddr_in sender = {};
    sender.sin_family = AF_INET;
    sender.sin_addr.s_addr = fuzz_u32(&network.input);
    memcpy(from, &sender, sizeof sender);
    network.now_ms += network.limit == 0 ? 0 : TIME_UNIT_MS * fuzz_u8(&network.input);
    const FuzzInput datagram = fuzz_part(&network.input, length);
    const size_t taken = std::min(datagram.left, size);
    std::copy_n(datagram.at, taken, static_cast<uint8_t *>(data));
    if (is_search(datagram.at, datagram.left)) {
        note_search(sender.sin_addr.s_addr);
    }
    return static_cast<ssize_t>(taken);
}

static ssize_t answer(int, const void *data, size_t size, int, const sockaddr *to, socklen_t)
{
    static const uint8_t HEAD[] = {0xA5, 0xA5, 12, 0};
    sockaddr_in phone = {};
    memcpy(&phone, to, sizeof phone);
    must(size == 12 && memcmp(data, HEAD, sizeof HEAD) == 0, "an answer is one of 12 bytes");
    must(phone.sin_family == AF_INET && phone.sin_port == htons(IPP_ANSWER_PORT),
         "an answer goes to the port for answers");
    if (network.limit == 0) {
        network.answered.push_back(phone.sin_addr.s_addr);
    } else {
        note_answer(phone.sin_addr.s_addr);
    }
    return static_cast<ssize_t>(size);
}

/* libFuzzer reads the other clocks. */
static int read_clock(clockid_t clock, timespec *now)
{
    if (clock != CLOCK_MONOTONIC) {
        return system_clock_gettime.real(clock, now);
    }
    now->tv_sec = static_cast<time_t>(network.now_ms / 1000);
    now->tv_nsec = static_cast<long>(network.now_ms % 1000 * 1000000);
    return 0;
}

/* The seed of the delays. */
static time_t read_time(time_t *)
{
    return static_cast<time_t>(network.now_ms);
}

/* The group-membership thread is not needed here. */
static int no_thread(pthread_t *thread, const pthread_attr_t *, void *(*)(void *), void *)
{
    *thread = pthread_self();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_silence_log();
    network = {};
    network.input = {data, size};
    network.refused = fuzz_u8(&network.input);
    network.limit = fuzz_u8(&network.input);
    network.now_ms = 1000000;
    IppGuard guard = {};
    guard.max_search_answers = network.limit;
    guard.admit = admit;
    ipp_set_guard(&guard);
    quiet_system();
    replace<receive>(system_recvfrom);
    replace<answer>(system_sendto);
    replace<read_clock>(system_clock_gettime);
    replace<read_time>(system_time);
    replace<no_thread>(system_pthread_create);

    flags_start_run();
    must(udp_thread(nullptr) == nullptr, "the thread ends well");
    must(network.answered == network.expected, "searches are answered, and nothing else is");
    must(network.waiting.empty(), "whatever waited has been answered");

    restore_system_calls();
    ipp_set_guard(nullptr);
    return 0;
}
