/* SPDX-License-Identifier: MIT */
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

#include "guide_push.h"
#include "host.h"
#include "narrate.h"
#include "observe.h"
#include "reload.h"
#include "slots.h"
#include "state_keeping.h"
#include "state_report.h"
#include "system.h"
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

std::string start_failure(int32_t result)
{
    if (bind_error(SOCK_STREAM, IPP_CONTROL_PORT) == EADDRINUSE) {
        return "port " + std::to_string(IPP_CONTROL_PORT) +
               " is taken by another program on this machine";
    }
    return "the service did not start (result " + std::to_string(result) +
           "); --diagnostics tells more";
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

/* Stops a stream that has reached its end. */
void watch_stream()
{
    std::vector<Event> events;
    {
        const std::lock_guard<std::mutex> guard(television_lock());
        events = end_stream(television(), seconds_now());
    }
    for (const Event &event : events) {
        report(event);
    }
}

/* The schedule of demo events. */
struct DemoEvents {
    Clock::duration pause; /* zero: none */
    Clock::time_point next;
    uint32_t number;
};

DemoEvents demo_events(double every)
{
    const auto pause =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(every));
    return {pause, Clock::now() + pause, 0};
}

void report_demo_event(DemoEvents &demo)
{
    if (demo.pause > Clock::duration::zero() && Clock::now() >= demo.next) {
        demo.number++;
        report({IPP_EVENT_DEMO, demo.number, "demo " + std::to_string(demo.number), {}});
        demo.next += demo.pause;
    }
}

std::vector<WatchedFile> files_to_watch(const Options &options)
{
    return options.watch_files ? watched_files(options.files) : std::vector<WatchedFile>();
}

/* The terminal from which the program was started has gone, which it is also told with SIGHUP. */
bool has_lost_terminal(bool had_terminal)
{
    return had_terminal && isatty(STDIN_FILENO) == 0;
}

/* Ends streams, reports demo events in time, and loads changed lists; returns on a stop signal. */
void wait_for_stop(const sigset_t &signals, const Options &options,
                   std::vector<WatchedFile> &watched)
{
    constexpr auto stream_check_period = std::chrono::milliseconds(200);
    DemoEvents demo = demo_events(options.event_every);
    const bool had_terminal = isatty(STDIN_FILENO) != 0;
    for (;;) {
        Clock::time_point next = Clock::now() + stream_check_period;
        if (demo.pause > Clock::duration::zero()) {
            next = std::min(next, demo.next);
        }
        const timespec left = time_until(next);
        const int number = sigtimedwait(&signals, nullptr, &left);
        if (number > 0 && (number != SIGHUP || has_lost_terminal(had_terminal))) {
            return;
        }
        if (number == SIGHUP) {
            watched = files_to_watch(options);
            reload_lineup(options.files);
        } else if (files_have_changed(watched)) {
            reload_lineup(options.files);
        }
        watch_stream();
        report_demo_event(demo);
    }
}

/* The deadline is long enough for a post of the state to a server that answers at once, which takes
 * a second; a slower server is not waited for. */
void stop(const Options &options)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(1500);
    end_state_report();
    ipp_finish();
    finish_state_report(options.report_url, deadline);
    finish_state_keeping(options.state_file);
}

/* Those for which the program waits: SIGINT, SIGTERM, SIGHUP. */
sigset_t block_signals()
{
    sigset_t signals = block_stop_signals();
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

Introduction introduction(const Options &options, const std::string &name, const Lineup &lineup)
{
    return {name,
            options.serial,
            options.device_type,
            own_addresses(),
            lineup.channels.size(),
            count_programmes(lineup.guide),
            lineup.remarks};
}

/* False, after a line, when the state that is kept cannot be had. */
bool make_own_television(const Options &options, const Lineup &lineup)
{
    Television tv = make_television(options.name, lineup.channels, lineup.guide);
    if (!recall_state(options.state_file, tv)) {
        return false;
    }
    if (options.name_is_given) {
        tv.name = options.name;
    }
    set_television(tv);
    return true;
}

int run_lineup(const Options &options, const Lineup &lineup, const sigset_t &signals,
               std::vector<WatchedFile> &watched)
{
    if (!make_own_television(options, lineup)) {
        return status_bad_file;
    }
    const std::string name = read_state([](const Television &tv) { return tv.name; });
    register_television(options);
    observe_service(options.trace);
    const int32_t result = ipp_init(options.device_type, name.c_str(), options.serial.c_str());
    if (result != IPP_OK) {
        narrate_failure(start_failure(result));
        return status_no_service;
    }
    narrate_start(introduction(options, name, lineup));
    start_state_report(options.report_url);
    start_state_keeping(options.state_file);
    wait_for_stop(signals, options, watched);
    stop(options);
    release_screen();
    narrate_stop(read_state(summary));
    return 0;
}

} // namespace

void register_television(const Options &options)
{
    static TvMethodTable table;
    static const IppGuard guard = IPP_GUARD_RECOMMENDED;
#define OPERATION(family, kind, first, last, slot, name, ...) table.name = name;
#include "protocol/operations.def"
    set_screen(options.screen, options.font);
    register_tv_method(&table);
    tv_ippRpcFunSet = answer_rpc;
    ipp_set_guard(&guard);
    ipp_set_log_sink(options.diagnostics ? show_line : hide_line, nullptr);
}

int run_television(const Options &options)
{
    const sigset_t signals = block_signals();
    narrate_as_json(options.json);
    try {
        std::vector<WatchedFile> watched = files_to_watch(options);
        const Lineup lineup = load_lineup(options.files, time_now() / seconds_a_day);
        return run_lineup(options, lineup, signals, watched);
    } catch (const LineupError &error) {
        narrate_failure(error.what());
        return status_bad_file;
    }
}

} // namespace sim
