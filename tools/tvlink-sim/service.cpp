#include "service.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>

#include "host.h"
#include "narrate.h"
#include "slots.h"
#include "tvlink.h"

namespace sim
{

namespace
{

using Clock = std::chrono::steady_clock;

void hide_line(int, const char *, void *)
{
}

void show_line(int, const char *text, void *)
{
    fputs(text, stderr);
}

void register_television(bool diagnostics)
{
    static TvMethodTable table;
    static const IppGuard guard = IPP_GUARD_RECOMMENDED;
    fill_control_slots(table);
    fill_list_slots(table);
    fill_video_slots(table);
    fill_settings_slots(table);
    fill_player_slots(table);
    register_tv_method(&table);
    tv_ippRpcFunSet = answer_rpc;
    ipp_set_guard(&guard);
    ipp_set_log_sink(diagnostics ? show_line : hide_line, nullptr);
}

std::string dotted(const in_addr &address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

/* The addresses of the interfaces that are up, the loopback last. */
std::vector<InterfaceAddress> own_addresses()
{
    std::vector<InterfaceAddress> others;
    std::vector<InterfaceAddress> loopback;
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0) {
        return {};
    }
    for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            (entry->ifa_flags & IFF_UP) == 0) {
            continue;
        }
        const void *address = entry->ifa_addr;
        const std::string text = dotted(static_cast<const sockaddr_in *>(address)->sin_addr);
        ((entry->ifa_flags & IFF_LOOPBACK) != 0 ? loopback : others)
            .push_back({entry->ifa_name, text});
    }
    freeifaddrs(first);
    others.insert(others.end(), loopback.begin(), loopback.end());
    return others;
}

bool control_port_is_taken()
{
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        return false;
    }
    const int on = 1;
    setsockopt(probe, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(IPP_CONTROL_PORT);
    const void *generic = &address;
    const bool taken = bind(probe, static_cast<const sockaddr *>(generic), sizeof address) != 0 &&
                       errno == EADDRINUSE;
    close(probe);
    return taken;
}

std::string start_failure(int32_t result)
{
    if (control_port_is_taken()) {
        return "port " + std::to_string(IPP_CONTROL_PORT) +
               " is taken by another program on this machine";
    }
    return "the service did not start (result " + std::to_string(result) +
           "); --diagnostics tells more";
}

/* Blocked in every thread, so that the signals wait until this thread takes them. */
sigset_t block_stop_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

timespec time_until(Clock::time_point moment)
{
    const auto left = std::max(moment - Clock::now(), Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    timespec result;
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    return result;
}

/* Returns when a stop signal has come; reports a demo event every so many seconds until then. */
void wait_for_stop(const sigset_t &signals, double event_every)
{
    if (event_every <= 0) {
        while (sigwaitinfo(&signals, nullptr) < 0) {
        }
        return;
    }
    const auto pause =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(event_every));
    Clock::time_point next = Clock::now() + pause;
    uint32_t number = 0;
    for (;;) {
        const timespec left = time_until(next);
        if (sigtimedwait(&signals, nullptr, &left) >= 0) {
            return;
        }
        if (errno == EAGAIN) {
            number++;
            report({EVENT_DEMO, number, "demo " + std::to_string(number), {}});
            next += pause;
        }
    }
}

} // namespace

int run_television(const Options &options)
{
    const sigset_t signals = block_stop_signals();
    narrate_as_json(options.json);
    set_television(options.name);
    register_television(options.diagnostics);
    const int32_t result =
        ipp_init(options.device_type, options.name.c_str(), options.serial.c_str());
    if (result != IPP_OK) {
        narrate_failure(start_failure(result));
        return 1;
    }
    narrate_start({options.name, options.serial, options.device_type, own_addresses()});
    wait_for_stop(signals, options.event_every);
    ipp_finish();
    narrate_stop(look(summary));
    return 0;
}

} // namespace sim
