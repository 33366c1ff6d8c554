/* One request at a time over loopback: the service beside a bare server of the same structure.
 *
 *     bench_round_trip [REQUESTS]
 *
 * Client and both servers run on one core, the first that the process may use. Rounds alternate
 * between the two, so that other load affects both alike: compare the ratio. Needs port 8801. */

#include "bare_ping_pong.h"
#include "tvlink.h"
#include "wire/frame.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <netinet/tcp.h>
#include <sched.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int ROUNDS = 40;
constexpr int WARM_UP = 500;

/* A key request and the reply to it. */
constexpr uint8_t KEY_REQUEST[] = {0x09, 0x01, 2, 6, 5, 0, 0, 0, 6, 0, 0, 0, 0};
constexpr uint8_t KEY_REPLY[] = {0x09, 0x01, 0};

using Samples = std::vector<double>;

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(1);
}

std::vector<uint8_t> frame_around(uint8_t type, const uint8_t *payload, int32_t length)
{
    uint32_t size = 0;
    uint8_t *bytes = frame_build(type, payload, length, &size);
    if (bytes == nullptr) {
        fail("frame");
    }
    std::vector<uint8_t> frame(bytes, bytes + size);
    std::free(bytes);
    return frame;
}

void stay_on_one_core()
{
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    int core = 0;
    while (!CPU_ISSET(core, &allowed)) {
        core++;
    }
    CPU_ZERO(&allowed);
    CPU_SET(core, &allowed);
    if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) {
        fail("sched_setaffinity");
    }
}

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

pid_t start_bare_server(uint16_t *port)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listener, 5) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        fail("bare server");
    }
    *port = ntohs(address.sin_port);
    const pid_t child = fork();
    if (child == 0) {
        const auto reply = frame_around(FRAME_SET_REPLY, KEY_REPLY, sizeof KEY_REPLY);
        bare_ping_pong_serve(listener, reply.data(), static_cast<int>(reply.size()));
        _exit(1);
    }
    close(listener);
    return child;
}

int accept_key(uint32_t, uint32_t)
{
    return 0;
}

pid_t start_service()
{
    const pid_t child = fork();
    if (child == 0) {
        static TvMethodTable table = {};
        table.set_tv_key = accept_key;
        register_tv_method(&table);
        ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
        const IppGuard guard = IPP_GUARD_RECOMMENDED;
        ipp_set_guard(&guard);
        if (ipp_init(1, "bench", nullptr) != IPP_OK) {
            std::fputs("the service does not start; is port 8801 free?\n", stderr);
            _exit(1);
        }
        for (;;) {
            pause();
        }
    }
    return child;
}

int connect_to(uint16_t port)
{
    const sockaddr_in address = loopback(port);
    for (int attempt = 0; attempt < 300; attempt++) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            return fd;
        }
        close(fd);
        usleep(10000);
    }
    fail("connect");
}

void exchange(int fd, const std::vector<uint8_t> &request, std::vector<uint8_t> *reply)
{
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(request.size()) ||
        recv(fd, reply->data(), reply->size(), MSG_WAITALL) !=
            static_cast<ssize_t>(reply->size())) {
        fail("exchange");
    }
}

void measure(int fd, int count, Samples *samples)
{
    const auto request = frame_around(FRAME_SET, KEY_REQUEST, sizeof KEY_REQUEST);
    std::vector<uint8_t> reply(FRAME_OVERHEAD + sizeof KEY_REPLY);
    for (int i = 0; i < count; i++) {
        const auto before = std::chrono::steady_clock::now();
        exchange(fd, request, &reply);
        const std::chrono::duration<double, std::micro> took =
            std::chrono::steady_clock::now() - before;
        samples->push_back(took.count());
    }
}

double percentile(const Samples &sorted, double part)
{
    return sorted[static_cast<size_t>(part * static_cast<double>(sorted.size() - 1))];
}

void report(const char *name, Samples *samples, const Samples &floor)
{
    std::sort(samples->begin(), samples->end());
    std::printf("%-8s p50 %6.2f us   p99 %6.2f us   %.2f x bare p50   (%zu requests)\n", name,
                percentile(*samples, 0.5), percentile(*samples, 0.99),
                percentile(*samples, 0.5) / percentile(floor, 0.5), samples->size());
}

} // namespace

int main(int argc, char **argv)
{
    const int requests = argc > 1 ? std::atoi(argv[1]) : 100000;
    stay_on_one_core();
    uint16_t bare_port = 0;
    const pid_t bare_server = start_bare_server(&bare_port);
    const pid_t service = start_service();
    const int bare_fd = connect_to(bare_port);
    const int service_fd = connect_to(IPP_CONTROL_PORT);

    Samples warm_up;
    measure(bare_fd, WARM_UP, &warm_up);
    measure(service_fd, WARM_UP, &warm_up);
    Samples bare;
    Samples served;
    for (int round = 0; round < ROUNDS; round++) {
        measure(bare_fd, requests / ROUNDS, &bare);
        measure(service_fd, requests / ROUNDS, &served);
    }
    std::sort(bare.begin(), bare.end());
    const Samples floor = bare;
    report("bare", &bare, floor);
    report("service", &served, floor);

    kill(bare_server, SIGKILL);
    kill(service, SIGKILL);
    while (wait(nullptr) > 0) {
    }
    return 0;
}
