/* SPDX-License-Identifier: MIT */
/* Searching for televisions, and listening to their announcements. */
#include "command_line.h"
#include "output.h"
#include "session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

namespace ctl
{
namespace
{

struct DiscoverOptions {
    bool announcements = false;
    bool listen = false;
};

constexpr size_t max_televisions = 256;

std::string in_words(const CpTelevision &television)
{
    std::string line = "television at " + address_text(cp_television_address(&television)) + ":" +
                       std::to_string(television.port) + ", device type " +
                       std::to_string(television.device_type);
    if (television.address == 0) {
        line += ", which does not know its address";
    } else if (television.address != television.source) {
        line += ", answer came from " + address_text(television.source);
    }
    return line;
}

Facts facts_of(const CpTelevision &television)
{
    return {{"address", address_text(cp_television_address(&television))},
            {"port", int64_t{television.port}},
            {"device_type", int64_t{television.device_type}},
            {"told_address", address_text(television.address)},
            {"source", address_text(television.source)}};
}

using Clock = std::chrono::steady_clock;

struct Listening {
    const Settings &settings;
    CpListener *listener;
    Clock::time_point begin;
    size_t heard;
};

double seconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void print_announcement(const Listening &listening, const CpTelevision &television)
{
    const double elapsed = seconds_since(listening.begin);
    char time[32];
    snprintf(time, sizeof time, "%8.3f s  ", elapsed);
    Facts facts = {{"elapsed", elapsed}};
    for (const auto &fact : facts_of(television)) {
        facts.push_back(fact);
    }
    print_line(listening.settings, time + in_words(television), facts);
}

void take_announcements(Listening &listening)
{
    CpTelevision television = {};
    while (cp_hear(listening.listener, &television, 0) == CP_OK) {
        print_announcement(listening, television);
        listening.heard++;
    }
}

/* The time-out of poll in milliseconds. At most a second: the listener joins networks that come up
 * when it is asked. */
int poll_timeout(const Listening &listening)
{
    const double second = 1000;
    if (!listening.settings.timeout_given) {
        return static_cast<int>(second);
    }
    const double left =
        std::ceil((listening.settings.timeout - seconds_since(listening.begin)) * second);
    return static_cast<int>(std::clamp(left, 0.0, second));
}

/* Until the time-out or a stop signal. */
void listen(Listening &listening, const tools::Descriptor &stop)
{
    int wait = 0;
    bool stopped = false;
    do {
        take_announcements(listening);
        wait = poll_timeout(listening);
        stopped = wait_for_stop(stop, cp_listener_descriptor(listening.listener), wait);
    } while (wait > 0 && !stopped);
    take_announcements(listening);
}

[[noreturn]] void listening_failed(const Settings &settings, CpStatus status)
{
    if (status == CP_NOT_FOUND) {
        throw Failure(STATUS_NOT_FOUND, settings.host + " is unknown", "");
    }
    search_failed(settings, status);
}

[[noreturn]] void nothing_heard(const Settings &settings)
{
    const std::string place =
        settings.host.empty() ? "no television" : "nothing at " + settings.host;
    throw Failure(STATUS_NOT_FOUND, place + " announced itself",
                  "a television does so for about a minute after its start; \"tvlink-ctl "
                  "discover\" asks those that have been running for longer");
}

void discover(const Settings &settings, bool hear_announcements)
{
    const char *host = settings.host.empty() ? nullptr : settings.host.c_str();
    const CpSearch search = {host, hear_announcements, to_milliseconds(settings.timeout), 0, 0};
    std::vector<CpTelevision> list(max_televisions);
    size_t found = 0;
    const CpStatus status = cp_discover(&search, list.data(), list.size(), &found);
    if (status != CP_OK) {
        search_failed(settings, status);
    }
    for (size_t i = 0; i < found; i++) {
        print_line(settings, in_words(list[i]), facts_of(list[i]));
    }
}

void listen_for_televisions(const Settings &settings)
{
    const tools::Descriptor stop = stop_signals();
    const char *host = settings.host.empty() ? nullptr : settings.host.c_str();
    CpListener *listener = nullptr;
    const CpStatus status = cp_listen(&listener, host, to_milliseconds(settings.timeout));
    if (status != CP_OK) {
        listening_failed(settings, status);
    }
    const std::unique_ptr<CpListener, void (*)(CpListener *)> owner(listener, cp_stop_listening);
    Listening listening = {settings, listener, Clock::now(), 0};
    fprintf(stderr, "tvlink-ctl: listening for announcements%s\n",
            settings.timeout_given ? "" : "; Ctrl-C ends it");
    listen(listening, stop);
    if (listening.heard == 0) {
        nothing_heard(settings);
    }
}

} // namespace

void add_discover_command(CLI::App &app, CommandLine &line)
{
    DiscoverOptions &options = new_options<DiscoverOptions>(line);
    CLI::App *command =
        add_command(app, line, "discover", "List the televisions that answer a search",
                    [&](const Settings &settings) {
                        if (options.listen) {
                            listen_for_televisions(settings);
                        } else {
                            discover(settings, options.announcements);
                        }
                    });
    CLI::Option *both = command->add_flag("--announcements", options.announcements,
                                          "Also list those that announce themselves meanwhile");
    command
        ->add_flag("--listen", options.listen,
                   "Do not search; show announcements as they arrive, until --timeout or Ctrl-C")
        ->excludes(both);
}

} // namespace ctl
