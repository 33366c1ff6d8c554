#include "discovery/discovery.h"

#include "base/flags.h"
#include "base/guard.h"
#include "base/log.h"
#include "discovery/announce.h"
#include "discovery/answer_packet.h"
#include "discovery/discovery_socket.h"
#include "discovery/membership.h"
#include "discovery/run_thread.h"
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
static void wait_random_delay()
{
    srand(static_cast<unsigned>(time(nullptr)));
    usleep(ANSWER_DELAY_US + static_cast<useconds_t>(rand() % ANSWER_SPREAD_US));
}

void response_cp_search(const struct sockaddr_in *from)
{
    if (from == nullptr) {
        return;
    }
    uint8_t packet[ANSWER_SIZE];
    answer_packet_build(packet);
    const struct sockaddr_in to = answer_destination(from->sin_addr.s_addr);
    wait_random_delay();
    char text[INET_ADDRSTRLEN];
    log_out("response_cp_search %s \n", dotted(&to, text));
    discovery_socket_send(packet, sizeof packet, &to);
}

static void answer_if_search(const uint8_t *packet, int length, const struct sockaddr_in *from)
{
    char text[INET_ADDRSTRLEN];
    log_out("UDP:recv from Control Point:ip=%s,recv_len=%d\n", dotted(from, text), length);
    if (check_search_packet(packet, length) != 0) {
        return;
    }
    log_out("check_search_packet true %s\n", dotted(from, text));
    if (guard_admits(from->sin_addr.s_addr)) {
        response_cp_search(from);
    }
}

/* ---- Receiving */

static void receive_one()
{
    uint8_t packet[RECEIVE_SIZE] = {};
    struct sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t length = recvfrom(discovery_socket_fd(), packet, sizeof packet, 0,
                                    reinterpret_cast<struct sockaddr *>(&from), &size);
    if (length <= 0) {
        usleep(PAUSE_US);
        return;
    }
    answer_if_search(packet, static_cast<int>(length), &from);
}

/* Waits until a datagram arrives or the service stops. False when there is nothing to receive.
 * Where it cannot wait, the receive has a time-out of its own, and a pause follows when that
 * receives nothing: a stop is noticed all the same. */
static bool wait_for_datagram()
{
    const int stop_fd = stop_signal_fd();
    if (stop_fd < 0) {
        return true;
    }
    struct pollfd entries[] = {{discovery_socket_fd(), POLLIN, 0}, {stop_fd, POLLIN, 0}};
    return ppoll(entries, 2, nullptr, nullptr) != 0 && flags_running();
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
    while (flags_running()) {
        if (wait_for_datagram()) {
            receive_one();
        }
    }
    discovery_leave_group();
    log_trace("udp_thread", 317);
    discovery_socket_close();
    return nullptr;
}
