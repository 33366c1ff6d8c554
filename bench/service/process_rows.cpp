/* SPDX-License-Identifier: MIT */
/* What the process holds, and how it idles, answers searches and stops. */

#include "table.h"
#include "tvlink.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/* ---- What the system knows of a process */

/* The sum of the numbers in the lines whose names end like this. */
static double sum_of(const std::string &file, const std::string &name)
{
    std::ifstream lines(file);
    std::string line;
    double sum = 0;
    while (std::getline(lines, line)) {
        const size_t at = line.find(name + ":");
        sum += at == std::string::npos ? 0 : std::stod(line.substr(at + name.size() + 1));
    }
    return sum;
}

static std::string folder_of(const Server &server)
{
    return "/proc/" + std::to_string(server.process);
}

/* Context switches of all threads, voluntary and involuntary. */
static double switches_of(const Server &server)
{
    double sum = 0;
    for (const auto &thread : std::filesystem::directory_iterator(folder_of(server) + "/task")) {
        sum += sum_of(thread.path().string() + "/status", "voluntary_ctxt_switches");
    }
    return sum;
}

static double cpu_ms_of(const Server &server)
{
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(server.process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        fail("the processor time of the service");
    }
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

static double memory_kb_of(const Server &server)
{
    return sum_of(folder_of(server) + "/status", "RssAnon");
}

/* ---- Allocations and memory */

static void print_allocations(const Bench &bench, const Server &service, const char *what,
                              int times, const std::function<void()> &work)
{
    const uint64_t before = ask(service, ALLOCATIONS);
    for (int i = 0; i < times; i++) {
        work();
    }
    const auto blocks = static_cast<double>(ask(service, ALLOCATIONS) - before);
    print_line(bench, what, blocks / times, "blocks");
}

void run_allocations(Bench *bench)
{
    static constexpr int PHONES = 500;
    const Server service = start_service(*bench, PHONES);
    const std::vector<int> phones = connect_phones(service, PHONES);
    const Crowd crowd = gather(phones);
    print_allocations(*bench, service, "for a key", 500, [&] { press_key(phones[0]); });
    print_allocations(*bench, service, "for a text of 60,000 bytes", 100,
                      [&] { expect(phones[0], text_request(), text_reply()); });
    print_allocations(*bench, service, "for an event to 500 phones", 50, [&] {
        ask(service, EVENT_REPORT);
        await_all(crowd, event_frame().size());
    });
}

void run_memory(Bench *bench)
{
    static constexpr int PHONES = 500;
    const Server service = start_service(*bench, PHONES);
    print_line(*bench, "resident and its own, no phone", memory_kb_of(service), "kB");
    connect_phones(service, PHONES);
    print_line(*bench, "the same, 500 phones", memory_kb_of(service), "kB");
}

/* ---- Searches */

static sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/* Where answers come; announcements go to a group, and not here. */
static int open_searcher(const Server &service)
{
    const timeval patience = {1, 0};
    const sockaddr_in own = loopback(IPP_ANSWER_PORT);
    const sockaddr_in to = loopback(IPP_SEARCH_PORT);
    const int fd = make_socket(service, SOCK_DGRAM);
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 ||
        connect(fd, reinterpret_cast<const sockaddr *>(&to), sizeof to) != 0) {
        fail("the port where answers to searches come");
    }
    return fd;
}

/* The delay of an answer, 0.1 s and a random part of 0.25 s, as the service has made it of rand().
 */
static double delay_ms(const Server &service)
{
    const uint64_t number = ask(service, RANDOM_NUMBER);
    if (number == 0) {
        fail("an answer to a search was not delayed by rand()");
    }
    return 100 + static_cast<double>((number - 1) % 250000) / 1e3;
}

/* How long the answer takes beyond its delay. False when there is none. */
static bool search(const Server &service, int searcher, double *beyond_ms)
{
    static const Bytes packet = {0xA5, 0xA5, 8, 0, 'A', 'I', 'I', 'P'};
    uint8_t answer[64];
    const uint64_t began = now_ns();
    send(searcher, packet.data(), packet.size(), 0);
    if (recv(searcher, answer, sizeof answer, 0) <= 0) {
        return false;
    }
    const double took_ms = static_cast<double>(now_ns() - began) / 1e6;
    *beyond_ms = took_ms - delay_ms(service);
    return true;
}

void run_search(Bench *bench)
{
    const Server service = start_service(*bench, 1);
    const int searcher = open_searcher(service);
    const size_t wanted = static_cast<size_t>(amount(*bench, 120, 20));
    Samples times;
    for (size_t attempt = 0; times.size() < wanted; attempt++) {
        double beyond_ms = 0;
        usleep(static_cast<useconds_t>(random() % 20000)); /* any moment of the service's passes */
        if (search(service, searcher, &beyond_ms)) {
            times.push_back(beyond_ms);
        } else if (attempt > wanted) {
            fail("searches are not answered");
        }
    }
    print_line(*bench, "answer beyond its random delay, p50", percentile(times, 0.5), "ms");
    print_line(*bench, "the same, p90", percentile(times, 0.9), "ms");
}

/* ---- The stop */

void run_stop(Bench *bench)
{
    Samples times;
    for (int i = 0; i < amount(*bench, 100, 20); i++) {
        const Server service = start_service(*bench, 1);
        const int phone = connect_phone(service);
        usleep(static_cast<useconds_t>(20000 + random() % 20000));
        times.push_back(static_cast<double>(ask(service, SERVICE_STOP)) / 1e6);
        close(phone);
    }
    print_line(*bench, "ipp_finish with a phone connected, p50", percentile(times, 0.5), "ms");
    print_line(*bench, "the same, p90", percentile(times, 0.9), "ms");
}

/* ---- Idle */

struct Window {
    double from; /* seconds after the start of the service */
    double to;
};

static void sleep_until(uint64_t began, double seconds)
{
    const double passed = static_cast<double>(now_ns() - began) / 1e9;
    usleep(passed < seconds ? static_cast<useconds_t>((seconds - passed) * 1e6) : 0);
}

static void print_idle(const Bench &bench, const Server &service, const std::string &phones,
                       uint64_t began, Window window)
{
    sleep_until(began, window.from);
    const double switches = switches_of(service);
    const double cpu_ms = cpu_ms_of(service);
    sleep_until(began, window.to);
    const double seconds = window.to - window.from;
    print_line(bench, "wake-ups, " + phones, (switches_of(service) - switches) / seconds, "/s");
    print_line(bench, "processor time, " + phones, (cpu_ms_of(service) - cpu_ms) * 60 / seconds,
               "ms/min");
}

/* The windows lie between the announcements, which come at once and 0.5, 1.5, 3.5, 7.5, 15.5, 31.5
 * and 63.5 s after the start. Phones that are silent for 31 s are dropped. */
void run_idle(Bench *bench)
{
    static constexpr int PHONES = 1000;
    const Server service = start_service(*bench, PHONES);
    const uint64_t began = now_ns();
    print_idle(*bench, service, "no phone", began,
               bench->brief ? Window{4, 7} : Window{16.5, 30.5});
    sleep_until(began, bench->brief ? 8 : 32);
    connect_phones(service, PHONES);
    print_idle(*bench, service, "1,000 silent phones", began,
               bench->brief ? Window{9.5, 14.5} : Window{33.5, 60.5});
}
