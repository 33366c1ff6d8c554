/* SPDX-License-Identifier: MIT */
#include "discovery/discovery.h"

#include "base/clock.h"
#include "base/flags.h"
#include "base/guard.h"
#include "base/log.h"
#include "base/notices.h"
#include "discovery/announce.h"
#include "discovery/answer_packet.h"
#include "discovery/discovery_socket.h"
#include "discovery/membership.h"
#include "discovery/run_thread.h"
#include "discovery/waiting_answers.h"
#include "net/stop_signal.h"
#include "tvlink.h"
#include "wire/frame.h"

#include <arpa/inet.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static const useconds_t PAUSE_US = 10000;
static const useconds_t ANSWER_DELAY_US = 100000;
static const int ANSWER_SPREAD_US = 250000;
/* The system may end a wait late, by a thousandth of it, so the last wait for an answer is short.
 */
static const uint64_t LAST_WAIT_US = 1000;
static const int SEARCH_SIZE = 8;
static const size_t RECEIVE_SIZE = 256;

pthread_t g_udp_tid = 0;
pthread_t g_multicast_tid = 0;
pthread_t g_addgroup_tid = 0;

static bool thread_to_join = false;

/* ---- Start and stop */

int start_udp_serv_thread()
{
    const uint32_t run = flags_run_number();
    if (pthread_create(&g_udp_tid, nullptr, udp_thread, nullptr) != 0) {
        log_out("err: pthread_create() fail\n");
        return -4;
    }
    thread_to_join = true;
    if (run_thread_start(&g_multicast_tid, announcing_thread, run) != 0) {
        log_out("err: pthread_create() fail\n");
        return -4;
    }
    return 0;
}

void discovery_join()
{
    if (thread_to_join) {
        pthread_join(g_udp_tid, nullptr);
        thread_to_join = false;
    }
}

/* ---- Searches */

static int8_t check_search_packet(const uint8_t *packet, int length)
{
    static const uint8_t WORD[] = {'A', 'I', 'I', 'P'};
    if (packet == nullptr || length < SEARCH_SIZE) {
        return -1;
    }
    if (packet[0] != 0xA5 || packet[1] != 0xA5 || load_u16(packet + 2) != SEARCH_SIZE ||
        memcmp(packet + 4, WORD, sizeof WORD) != 0) {
        return -21;
    }
    return 0;
}

static const char *dotted(const struct sockaddr_in *address, char text[INET_ADDRSTRLEN])
{
    return inet_ntop(AF_INET, &address->sin_addr, text, INET_ADDRSTRLEN);
}

/* Several televisions receive the same search: a random delay spreads their answers. */
static useconds_t draw_delay()
{
    srand(static_cast<unsigned>(time(nullptr)));
    return ANSWER_DELAY_US + static_cast<useconds_t>(rand() % ANSWER_SPREAD_US);
}

static void send_answer(uint32_t address, const uint8_t packet[ANSWER_SIZE])
{
    const struct sockaddr_in to = answer_destination(address);
    char text[INET_ADDRSTRLEN];
    log_out("response_cp_search %s \n", dotted(&to, text));
    discovery_socket_send(packet, ANSWER_SIZE, &to);
    notice_search_answered(address);
}

void response_cp_search(const struct sockaddr_in *from)
{
    if (from == nullptr) {
        return;
    }
    uint8_t packet[ANSWER_SIZE];
    answer_packet_build(packet);
    usleep(draw_delay());
    send_answer(from->sin_addr.s_addr, packet);
}

static void answer_later(WaitingAnswers *waiting, uint32_t address)
{
    WaitingAnswer answer = {0, address, {}};
    answer_packet_build(answer.packet);
    answer.due_us = clock_elapsed_us() + draw_delay();
    waiting_answers_add(waiting, &answer);
}

/* Without the guard's max_search_answers nothing is limited. */
static int reason_to_refuse(const WaitingAnswers *waiting, uint32_t limit, uint32_t address)
{
    if (limit != 0 && waiting_answers_has(waiting, address)) {
        return IPP_REASON_ALREADY_WAITS;
    }
    if (limit != 0 && !waiting_answers_has_room(waiting, limit)) {
        return IPP_REASON_TOO_MANY;
    }
    return guard_admits(address) ? IPP_REASON_NONE : IPP_REASON_NOT_ADMITTED;
}

/* With a limit the thread goes on receiving while the answer waits. */
static void answer(WaitingAnswers *waiting, const struct sockaddr_in *from)
{
    const uint32_t address = from->sin_addr.s_addr;
    const uint32_t limit = guard_max_search_answers();
    const int reason = reason_to_refuse(waiting, limit, address);
    if (reason != IPP_REASON_NONE) {
        notice_search_refused(address, reason);
    } else if (limit != 0) {
        answer_later(waiting, address);
    } else {
        response_cp_search(from);
    }
}

static void send_due_answers(WaitingAnswers *waiting)
{
    WaitingAnswer answer;
    while (waiting->count > 0 && waiting_answers_take_due(waiting, clock_elapsed_us(), &answer)) {
        send_answer(answer.address, answer.packet);
    }
}

static void answer_if_search(WaitingAnswers *waiting, const uint8_t *packet, int length,
                             const struct sockaddr_in *from)
{
    char text[INET_ADDRSTRLEN];
    log_out("UDP:recv from Control Point:ip=%s,recv_len=%d\n", dotted(from, text), length);
    if (check_search_packet(packet, length) != 0) {
        return;
    }
    log_out("check_search_packet true %s\n", dotted(from, text));
    answer(waiting, from);
}

/* ---- Receiving */

/* An empty datagram counts as a failed receive, but with max_search_answers the pause after that
 * would let a neighbour hide the television. A receive that fails names no sender. */
static bool is_worth_a_pause(ssize_t length, const struct sockaddr_in *from)
{
    return length < 0 || from->sin_family != AF_INET || guard_max_search_answers() == 0;
}

static void receive_one(WaitingAnswers *waiting)
{
    uint8_t packet[RECEIVE_SIZE] = {};
    struct sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t length = recvfrom(discovery_socket_fd(), packet, sizeof packet, 0,
                                    reinterpret_cast<struct sockaddr *>(&from), &size);
    if (length > 0) {
        answer_if_search(waiting, packet, static_cast<int>(length), &from);
    } else if (is_worth_a_pause(length, &from)) {
        usleep(PAUSE_US);
    }
}

/* How long to wait for the earliest answer; null when none waits. */
static const struct timespec *time_left(const WaitingAnswers *waiting, struct timespec *left)
{
    if (waiting->count == 0) {
        return nullptr;
    }
    const uint64_t due_us = waiting->answers[0].due_us;
    const uint64_t now_us = clock_elapsed_us();
    uint64_t left_us = due_us > now_us ? due_us - now_us : 0;
    left_us -= left_us > LAST_WAIT_US ? LAST_WAIT_US : 0;
    left->tv_sec = static_cast<time_t>(left_us / 1000000);
    left->tv_nsec = static_cast<long>(left_us % 1000000 * 1000);
    return left;
}

/* Waits until a datagram arrives, the service stops or an answer is due. False when there is
 * nothing to receive. Where it cannot wait, the receive has a time-out of its own, and a pause
 * follows when that receives nothing: a stop is noticed all the same. */
static bool wait_for_datagram(const WaitingAnswers *waiting)
{
    const int stop_fd = stop_signal_fd();
    if (stop_fd < 0) {
        return true;
    }
    struct pollfd entries[] = {{discovery_socket_fd(), POLLIN, 0}, {stop_fd, POLLIN, 0}};
    struct timespec left = {};
    return ppoll(entries, 2, time_left(waiting, &left), nullptr) != 0 && flags_running();
}

/* Answers that still wait at the end are dropped. */
static void serve_searches()
{
    WaitingAnswers waiting;
    waiting.count = 0;
    while (flags_running()) {
        send_due_answers(&waiting);
        if (wait_for_datagram(&waiting)) {
            receive_one(&waiting);
        }
    }
}

/* ---- The thread */

void *udp_thread(void *)
{
    discovery_socket_open();
    if (discovery_socket_fd() < 0) {
        log_out("err: udp_init() fail\n");
        return reinterpret_cast<void *>(-1);
    }
    if (run_thread_start(&g_addgroup_tid, membership_thread, flags_run_number()) != 0) {
        log_out("err: pthread_create() fail\n");
        return reinterpret_cast<void *>(-4);
    }
    serve_searches();
    discovery_leave_group();
    log_trace("udp_thread", 317);
    discovery_socket_close();
    return nullptr;
}
