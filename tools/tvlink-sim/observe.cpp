/* SPDX-License-Identifier: MIT */
#include "observe.h"

#include "narrate.h"
#include "request_words.h"
#include "tvlink.h"
#include "tvlink/frame.h"
#include "tvlink/observer.h"
#include "tvlink/router.h"

namespace sim
{

namespace
{

bool traced = false;

/* The body of the request that the calling thread runs; the observer is not given it. */
thread_local Body running_body;

std::string counted(uint32_t count, const std::string &thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

nlohmann::json reason_json(int reason)
{
    return reason == IPP_REASON_NONE ? nlohmann::json(nullptr)
                                     : nlohmann::json(ipp_reason_text(reason));
}

std::string ended_words(int reason)
{
    return reason == IPP_REASON_NONE ? "ended" : std::string("ended: ") + ipp_reason_text(reason);
}

/* ---- Searches and connections */

void print_search(uint32_t peer, void *)
{
    narrate_notice({"search_answered", address_words(peer), "search answered", {}});
}

void print_refused_search(uint32_t peer, int reason, void *)
{
    narrate_notice({"search_refused",
                    address_words(peer),
                    std::string("search refused: ") + ipp_reason_text(reason),
                    {{"reason", reason_json(reason)}}});
}

void print_connection(uint32_t peer, uint32_t connections, void *)
{
    narrate_notice({"connected",
                    address_words(peer),
                    "connected, " + counted(connections, "connection"),
                    {{"connections", connections}}});
}

void print_refused_connection(uint32_t peer, int reason, void *)
{
    narrate_notice({"connection_refused",
                    address_words(peer),
                    std::string("connection refused: ") + ipp_reason_text(reason),
                    {{"reason", reason_json(reason)}}});
}

void print_gone(uint32_t peer, int reason, uint32_t connections, void *)
{
    narrate_notice({"gone",
                    address_words(peer),
                    std::string("gone: ") + ipp_reason_text(reason) + ", " +
                        counted(connections, "connection"),
                    {{"reason", reason_json(reason)}, {"connections", connections}}});
}

/* ---- Requests */

void print_arrival(const IppRequest *request, void *)
{
    narrate_notice(
        {"request", address_words(request->peer_addr),
         request_words(*request, {}) + " arrived, " + std::to_string(request->bytes) + " bytes",
         request_facts(*request, {})});
}

void print_outcome(const IppRequest *request, void *)
{
    const std::string what = request->type == 0
                                 ? "frame of " + std::to_string(request->bytes) + " bytes"
                                 : request_words(*request, running_body);
    nlohmann::json facts = request_facts(*request, running_body);
    facts["reason"] = reason_json(request->reason);
    if (request->replied != 0 && request->type == FRAME_SET) {
        facts["result"] = result_of(*request);
    }
    narrate_notice({request->replied != 0 ? "answer" : "silence", address_words(request->peer_addr),
                    what + ": " + outcome_words(*request, running_body), facts});
    running_body.clear();
}

void print_slow_slot(const IppRequest *request, void *)
{
    nlohmann::json facts = request_facts(*request, {});
    facts["slot_us"] = request->slot_us;
    narrate_notice({"slow", address_words(request->peer_addr),
                    request_words(*request, {}) + " has been running for " +
                        std::to_string(request->slot_us / 1000) + " ms, and every phone waits",
                    facts});
}

/* ---- Events, captures, pushes */

void print_event(uint16_t code, uint32_t reached, uint32_t failed, void *)
{
    narrate_notice({"event_sent",
                    "",
                    "event " + code_words(code) + " sent to " + counted(reached, "phone") +
                        (failed == 0 ? "" : ", not to " + std::to_string(failed)),
                    {{"code", hex_code(code)}, {"reached", reached}, {"failed", failed}}});
}

void print_capture(uint32_t peer, uint16_t port, uint32_t bytes, void *)
{
    narrate_notice({"capture_offered",
                    address_words(peer),
                    "capture offered on port " + std::to_string(port) + ", " +
                        std::to_string(bytes) + " bytes",
                    {{"port", port}, {"bytes", bytes}}});
}

void print_capture_end(uint32_t peer, int reason, uint32_t bytes, void *)
{
    narrate_notice({"capture_ended",
                    address_words(peer),
                    "capture " + ended_words(reason) + ", " + std::to_string(bytes) + " bytes",
                    {{"reason", reason_json(reason)}, {"bytes", bytes}}});
}

void print_push(uint32_t peer, uint32_t bytes, void *)
{
    narrate_notice({"push_begun",
                    address_words(peer),
                    "push begun, " + std::to_string(bytes) + " bytes",
                    {{"bytes", bytes}}});
}

void print_push_end(uint32_t peer, int reason, void *)
{
    narrate_notice({"push_ended",
                    address_words(peer),
                    "push " + ended_words(reason),
                    {{"reason", reason_json(reason)}}});
}

/* ---- Bytes */

IppRequest request_of(const CtrlPoint &peer, const Body &body)
{
    IppRequest request = {};
    request.peer_addr = peer.peer_addr;
    request.bytes = static_cast<uint32_t>(body.size()) + FRAME_BODY_OVERHEAD;
    request.type = body.empty() ? uint8_t{0} : body[0];
    const size_t code_at = request.type == FRAME_GET ? 2 : 1;
    const bool has_kind = request.type != FRAME_GET || (body.size() > 1 && body[1] == 1);
    if (has_kind && body.size() >= code_at + 2) {
        request.has_code = 1;
        request.code = static_cast<uint16_t>(body[code_at] | body[code_at + 1] << 8);
    }
    return request;
}

void trace_frame(const IppRequest &request, const Body &body)
{
    const std::string arguments = argument_words(request, body);
    const std::string payload = hex_digits(body.data() + 1, body.size() - 1);
    nlohmann::json facts = request_facts(request, body);
    facts["arguments"] = arguments;
    facts["payload"] = payload;
    narrate_notice({"frame", address_words(request.peer_addr),
                    request_words(request, body) +
                        (arguments.empty() ? "" : " (" + arguments + ")") + ": " +
                        hex_digits(body.data(), 1) + " " + payload,
                    facts});
}

/* Dispatchers that keep the body before they pass the request on to the library's own. */
IppDispatcher library_get = nullptr;
IppDispatcher library_set = nullptr;
IppDispatcher library_rpc = nullptr;

template <IppDispatcher *next> int dispatch(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (cp != nullptr && body != nullptr && length > 0) {
        running_body.assign(body, body + length);
        const IppRequest request = request_of(*cp, running_body);
        if (traced) {
            trace_frame(request, running_body);
        }
        narrate_calls_of(address_words(cp->peer_addr), request_facts(request, running_body));
    }
    return (*next)(cp, body, length);
}

void take_over_dispatchers()
{
    library_get = g_dev_interface[0];
    library_set = g_dev_interface[1];
    library_rpc = g_ippRpc;
    g_dev_interface[0] = dispatch<&library_get>;
    g_dev_interface[1] = dispatch<&library_set>;
    g_ippRpc = dispatch<&library_rpc>;
}

} // namespace

void observe_service(bool trace)
{
    traced = trace;
    IppObserver observer = {};
    observer.search_answered = print_search;
    observer.search_refused = print_refused_search;
    observer.connected = print_connection;
    observer.connection_refused = print_refused_connection;
    observer.gone = print_gone;
    observer.request_arrived = trace ? print_arrival : nullptr;
    observer.request_done = print_outcome;
    observer.request_refused = print_outcome;
    observer.slot_is_slow = print_slow_slot;
    observer.event_sent = trace ? print_event : nullptr;
    observer.capture_begun = print_capture;
    observer.capture_ended = print_capture_end;
    observer.push_begun = print_push;
    observer.push_ended = print_push_end;
    take_over_dispatchers();
    ipp_set_observer(&observer);
}

} // namespace sim
