#include "udp/discovery.h"

#include "core/flags.h"
#include "core/frame.h"
#include "core/guard.h"
#include "core/log.h"
#include "net/patient_bind.h"
#include "net/socket_io.h"
#include "tvlink.h"
#include "tvlink/announce.h"
#include "tvlink/membership.h"
#include "udp/answer_packet.h"
#include "udp/run_thread.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

/* Not the group that was joined: a deliberate no-op; membership ends with the socket. */
static const char *const GROUP_LEFT = "235.200.201.202";

static const int RECEIVE_TIMEOUT_MS = 5;
static const useconds_t PAUSE_US = 10000;
static const useconds_t ANSWER_DELAY_US = 100000;
static const int ANSWER_SPREAD_US = 250000;
static const int SEARCH_SIZE = 8;
static const size_t RECEIVE_SIZE = 256;
static const uint32_t NO_LIMIT = 0;

int32_t g_udp_sock = -1;
pthread_t g_udp_tid = 0;
pthread_t g_multicast_tid = 0;
pthread_t g_addgroup_tid = 0;

static bool thread_to_join = false;

/* Holds the discovery socket open while its number is used by others than the discovery thread. */
static pthread_mutex_t socket_lock = PTHREAD_MUTEX_INITIALIZER;
static bool socket_closed = false;
static int32_t left_open = -1; /* by a thread that could not start its helper */

/* ---- Start and stop */

int start_udp_serv_thread()
{
    const uint32_t run = flags_run_number();
    if (pthread_create(&g_udp_tid, nullptr, udp_thread, nullptr) != 0) {
        log_out("err: pthread_create() fail\n");
        return -4;
    }
    thread_to_join = true;
    if (run_thread_start(&g_multicast_tid, udp_multicastthread, run) != 0) {
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

/* ---- The socket */

static bool prepare_socket(int fd, uint16_t port)
{
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        log_out("err: setsockopt() fail\n");
        log_trace("udp_sock_init", 58);
        return false;
    }
    if (set_socket_timeout(fd, RECEIVE_TIMEOUT_MS) != 0) {
        set_socket_noblock(fd); /* a receive may not last longer than the run */
    }
    return patient_bind(fd, port, NO_LIMIT);
}

int udp_sock_init(int32_t port)
{
    if (port < 1 || port > UINT16_MAX) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd < 0) {
        log_out("err: udp socket() fail\n");
        return -3;
    }
    if (!prepare_socket(fd, static_cast<uint16_t>(port))) {
        close(fd);
        return -3;
    }
    return fd;
}

static int32_t discovery_socket()
{
    return __atomic_load_n(&g_udp_sock, __ATOMIC_ACQUIRE);
}

static void open_socket()
{
    const int32_t fd = udp_sock_init(IPP_SEARCH_PORT);
    pthread_mutex_lock(&socket_lock);
    if (left_open >= 0) {
        close(left_open);
    }
    left_open = fd;
    __atomic_store_n(&g_udp_sock, fd, __ATOMIC_RELEASE);
    socket_closed = false;
    pthread_mutex_unlock(&socket_lock);
}

static void close_socket()
{
    pthread_mutex_lock(&socket_lock);
    close(discovery_socket());
    left_open = -1;
    socket_closed = true;
    pthread_mutex_unlock(&socket_lock);
}

bool discovery_join_group(const char *group, uint32_t run)
{
    struct ip_mreq request = {};
    request.imr_multiaddr.s_addr = inet_addr(group);
    request.imr_interface.s_addr = htonl(INADDR_ANY);
    bool joined = false;
    pthread_mutex_lock(&socket_lock);
    if (socket_closed || !flags_run_goes_on(run)) {
        errno = EBADF;
    } else {
        joined = setsockopt(discovery_socket(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                            sizeof request) == 0;
    }
    pthread_mutex_unlock(&socket_lock);
    return joined;
}

/* Not on a number that has been closed and may be someone else's. */
static void send_answer(const uint8_t *packet, size_t size, const struct sockaddr_in *to)
{
    pthread_mutex_lock(&socket_lock);
    if (!socket_closed) {
        sendto(discovery_socket(), packet, size, 0, reinterpret_cast<const struct sockaddr *>(to),
               sizeof *to);
    }
    pthread_mutex_unlock(&socket_lock);
}

static void leave_group()
{
    struct ip_mreq request = {};
    request.imr_interface.s_addr = htonl(INADDR_ANY);
    if (inet_aton(GROUP_LEFT, &request.imr_multiaddr) < 0) {
        log_perror("inet_aton");
    }
    setsockopt(discovery_socket(), IPPROTO_IP, IP_DROP_MEMBERSHIP, &request, sizeof request);
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

/* Many televisions hear the same search: each waits a time of its own before it answers. */
static void wait_a_while()
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
    wait_a_while();
    char text[INET_ADDRSTRLEN];
    log_out("response_cp_search %s \n", dotted(&to, text));
    send_answer(packet, sizeof packet, &to);
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

static void receive_one()
{
    uint8_t packet[RECEIVE_SIZE] = {};
    struct sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t length = recvfrom(discovery_socket(), packet, sizeof packet, 0,
                                    reinterpret_cast<struct sockaddr *>(&from), &size);
    if (length <= 0) {
        usleep(PAUSE_US);
        return;
    }
    answer_if_search(packet, static_cast<int>(length), &from);
}

/* ---- The thread */

void *udp_thread(void *)
{
    open_socket();
    if (discovery_socket() < 0) {
        log_out("err: udp_init() fail\n");
        return reinterpret_cast<void *>(-1);
    }
    if (run_thread_start(&g_addgroup_tid, udp_addgroupthread, flags_run_number()) != 0) {
        log_out("err: pthread_create() fail\n");
        return reinterpret_cast<void *>(-4);
    }
    while (flags_running()) {
        receive_one();
    }
    leave_group();
    log_trace("udp_thread", 317);
    close_socket();
    return nullptr;
}
