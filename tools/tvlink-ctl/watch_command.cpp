/* SPDX-License-Identifier: MIT */
/* Prints what the television pushes, and keeps the connection alive with heartbeats. */
#include "command_line.h"
#include "exchange.h"
#include "list_reader.h"
#include "output.h"

#include <algorithm>
#include <chrono>

namespace ctl
{
namespace
{

using Clock = std::chrono::steady_clock;

struct WatchOptions {
    double interval = 10;    /* seconds between heartbeats */
    uint32_t events = 0;     /* end after that many; 0: do not */
    uint32_t heartbeats = 0; /* end after that many answers; 0: do not */
};

struct Watch {
    const Settings &settings;
    const WatchOptions &options;
    const Session &session;
    Clock::time_point next_heartbeat;  /* when the next one is sent */
    uint32_t unanswered;               /* heartbeats */
    Clock::time_point answer_deadline; /* by which one of them must be answered */
    uint32_t events;
    uint32_t heartbeats;
};

Clock::duration to_duration(double seconds)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

/* An answer may take as long as the time-out or the interval, whichever is longer. */
Clock::time_point new_answer_deadline(const Watch &watch)
{
    return Clock::now() + to_duration(std::max(watch.settings.timeout, watch.options.interval));
}

void print_event(const Watch &watch, CpBytes payload)
{
    CpEvent event = {};
    if (cp_decode_event(payload, &event) != CP_OK) {
        broke_protocol(watch.session, "sent an event that cannot be decoded: " + hex(payload, " "));
    }
    Facts facts = {{"kind", std::string("event")},
                   {"code", hex_code(event.code)},
                   {"value", int64_t{event.value}}};
    add_text(facts, "text", event.text);
    std::string line = "event " + hex_code(event.code) + " value " + std::to_string(event.value) +
                       " text \"" + printable(event.text) + "\"";
    if (event.has_second_text) {
        add_text(facts, "second_text", event.second_text);
        line += " second text \"" + printable(event.second_text) + "\"";
    }
    facts.emplace_back("data", hex(event.data, ""));
    if (event.data.size > 0) {
        line += " data " + hex(event.data, " ");
    }
    print_line(watch.settings, line, facts);
}

void take_heartbeat(Watch &watch, CpBytes payload)
{
    if (cp_decode_heartbeat(payload) != CP_OK) {
        broke_protocol(watch.session, "sent a heartbeat that is none");
    }
    watch.unanswered -= std::min(watch.unanswered, 1U);
    watch.answer_deadline = new_answer_deadline(watch);
    watch.heartbeats++;
    print_line(watch.settings, "heartbeat", {{"kind", std::string("heartbeat")}});
}

/* False when the frame is no list. */
bool print_pushed_list(const Watch &watch, const CpFrame &frame)
{
    Entries entries;
    if (frame.type != CP_FRAME_GET_REPLY || read_list(frame.payload, &entries) != CP_OK) {
        return false;
    }
    const std::string what = entries.is_guide ? "guide" : "channels";
    const size_t count = entries.count();
    print_line(
        watch.settings,
        what + " pushed: " + std::to_string(count) + (count == 1 ? " entry" : " entries"),
        {{"kind", std::string("pushed")}, {"what", what}, {"count", static_cast<int64_t>(count)}});
    return true;
}

void take_frame(Watch &watch, const CpFrame &frame)
{
    if (frame.type == CP_FRAME_EVENT) {
        print_event(watch, frame.payload);
        watch.events++;
    } else if (frame.type == CP_FRAME_HEARTBEAT) {
        take_heartbeat(watch, frame.payload);
    } else if (!print_pushed_list(watch, frame)) {
        print_line(watch.settings,
                   "frame " + hex_byte(frame.type) + " payload " + hex(frame.payload, " "),
                   {{"kind", std::string("frame")},
                    {"frame_type", hex_byte(frame.type)},
                    {"payload", hex(frame.payload, "")}});
    }
}

bool is_done(const Watch &watch)
{
    const WatchOptions &options = watch.options;
    return (options.events != 0 && watch.events >= options.events) ||
           (options.heartbeats != 0 && watch.heartbeats >= options.heartbeats);
}

/* Takes all frames that have arrived. */
void take_frames(Watch &watch)
{
    CpStatus status = CP_OK;
    while (status == CP_OK && !is_done(watch)) {
        CpFrame frame = {};
        status = cp_receive(watch.session.connection, &frame, 0);
        if (status == CP_OK) {
            take_frame(watch, frame);
        }
    }
    if (status != CP_TIMED_OUT) {
        require_answer(watch.session, status, "events");
    }
}

void send_heartbeat_when_due(Watch &watch)
{
    const Clock::time_point now = Clock::now();
    if (watch.unanswered > 0 && now >= watch.answer_deadline) {
        throw Failure(STATUS_TIMED_OUT, watch.session.peer + " no longer answers heartbeats",
                      "is the television still on this network?");
    }
    if (now < watch.next_heartbeat) {
        return;
    }
    require_answer(
        watch.session,
        cp_send(watch.session.connection, CP_FRAME_HEARTBEAT, nullptr, 0, watch.session.timeout_ms),
        "a heartbeat");
    if (watch.unanswered == 0) {
        watch.answer_deadline = new_answer_deadline(watch);
    }
    watch.unanswered++;
    watch.next_heartbeat = now + to_duration(watch.options.interval);
}

/* Waits for a frame, a stop signal or the next deadline. True for a stop signal. */
bool wait_for_event(const Watch &watch, const tools::Descriptor &stop)
{
    Clock::time_point due = watch.next_heartbeat;
    if (watch.unanswered > 0) {
        due = std::min(due, watch.answer_deadline);
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    const int timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, 60000));
    return wait_for_stop(stop, cp_descriptor(watch.session.connection), timeout);
}

void watch(const Settings &settings, const WatchOptions &options)
{
    const tools::Descriptor stop = stop_signals();
    const Session session(settings);
    Watch watch = {settings, options, session, Clock::now(), 0, {}, 0, 0};
    print_line(settings, "watching " + session.peer,
               {{"kind", std::string("watching")}, {"peer", session.peer}});
    do {
        send_heartbeat_when_due(watch);
        if (wait_for_event(watch, stop)) {
            return;
        }
        take_frames(watch);
    } while (!is_done(watch));
}

void send_heartbeat(const Settings &settings)
{
    const Session session(settings);
    const auto begin = std::chrono::steady_clock::now();
    require_answer(session, cp_heartbeat(session.connection, session.timeout_ms), "a heartbeat");
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    print_facts(settings, {{"heartbeat", std::string("answered")}, {"ms", passed.count()}});
}

} // namespace

void add_watch_commands(CLI::App &app, CommandLine &line)
{
    WatchOptions &options = new_options<WatchOptions>(line);
    CLI::App *command = add_command(app, line, "watch",
                                    "Show events until interrupted, keeping the connection alive",
                                    [&](const Settings &settings) { watch(settings, options); });
    command->add_option("--interval", options.interval, "Seconds between heartbeats (10)")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.01, 86400.0));
    command->add_option("--count", options.events, "End after that many events")->option_text("N");
    command
        ->add_option("--heartbeats", options.heartbeats,
                     "End after that many answers to heartbeats")
        ->option_text("N");
    add_command(app, line, "heartbeat", "Send one heartbeat, wait for its answer", send_heartbeat);
}

} // namespace ctl
