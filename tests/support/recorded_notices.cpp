/* SPDX-License-Identifier: MIT */
#include "support/recorded_notices.h"

#include "support/mutex_state.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/registry.h"
#include "tvlink/work_queues.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace
{

std::mutex lock;
std::vector<std::string> lines;

void expect_no_lock()
{
    for (const pthread_mutex_t *mutex :
         {&g_cp_list_mutex, &devCallBackMutex, &heartBeatFeedbackMutex}) {
        EXPECT_FALSE(held_by_this_thread(*mutex));
    }
}

void add(const std::string &line)
{
    expect_no_lock();
    const std::lock_guard<std::mutex> guard(lock);
    lines.push_back(line);
}

void add_of(uint32_t peer, const std::string &line)
{
    EXPECT_TRUE(ntohl(peer) >> 8 == 0x7f0000 || peer == inet_addr("192.0.2.7")) << peer;
    add(line);
}

std::string why(int reason)
{
    return std::string(" ") + ipp_reason_text(reason);
}

std::string number(uint32_t value)
{
    return " " + std::to_string(value);
}

std::string described(const IppRequest *request)
{
    char code[16] = "----";
    if (request->has_code != 0) {
        std::snprintf(code, sizeof code, "%04x", static_cast<unsigned>(request->code));
    }
    char line[64];
    std::snprintf(line, sizeof line, " %02x %s %u", static_cast<unsigned>(request->type), code,
                  request->bytes);
    return line;
}

std::string end_of(const IppRequest *request)
{
    return described(request) + (request->replied != 0 ? " replied " : " silent ") +
           std::to_string(request->result) + why(request->reason);
}

IppObserver observer()
{
    IppObserver to = {};
    to.search_answered = [](uint32_t, void *) { add("search_answered"); };
    to.search_refused = [](uint32_t, int reason, void *) { add("search_refused" + why(reason)); };
    to.connected = [](uint32_t peer, uint32_t connections, void *) {
        add_of(peer, "connected" + number(connections));
    };
    to.connection_refused = [](uint32_t peer, int reason, void *) {
        add_of(peer, "connection_refused" + why(reason));
    };
    to.gone = [](uint32_t peer, int reason, uint32_t connections, void *) {
        add_of(peer, "gone" + number(connections) + why(reason));
    };
    to.request_arrived = [](const IppRequest *request, void *) {
        add_of(request->peer_addr, "request_arrived" + described(request));
    };
    to.request_done = [](const IppRequest *request, void *) {
        add_of(request->peer_addr, "request_done" + end_of(request));
    };
    to.request_refused = [](const IppRequest *request, void *) {
        add_of(request->peer_addr, "request_refused" + end_of(request));
    };
    to.slot_is_slow = [](const IppRequest *request, void *) {
        add_of(request->peer_addr, "slot_is_slow" + described(request));
    };
    to.event_sent = [](uint16_t code, uint32_t reached, uint32_t failed, void *) {
        add("event_sent" + number(code) + number(reached) + number(failed));
    };
    to.capture_begun = [](uint32_t peer, uint16_t port, uint32_t bytes, void *) {
        EXPECT_NE(port, 0);
        add_of(peer, "capture_begun" + number(bytes));
    };
    to.capture_ended = [](uint32_t peer, int reason, uint32_t bytes, void *) {
        add_of(peer, "capture_ended" + number(bytes) + why(reason));
    };
    to.push_begun = [](uint32_t peer, uint32_t bytes, void *) {
        add_of(peer, "push_begun" + number(bytes));
    };
    to.push_ended = [](uint32_t peer, int reason, void *) {
        add_of(peer, "push_ended" + why(reason));
    };
    return to;
}

} // namespace

RecordedNotices::RecordedNotices()
{
    clear();
    const IppObserver to = observer();
    EXPECT_EQ(ipp_set_observer(&to), 0);
}

RecordedNotices::~RecordedNotices()
{
    EXPECT_EQ(ipp_set_observer(nullptr), 0);
}

std::vector<std::string> RecordedNotices::all() const
{
    const std::lock_guard<std::mutex> guard(lock);
    return lines;
}

std::vector<std::string> RecordedNotices::of(const std::string &callback) const
{
    std::vector<std::string> result;
    for (const std::string &line : all()) {
        if (line == callback || line.rfind(callback + " ", 0) == 0) {
            result.push_back(line.substr(std::min(line.size(), callback.size() + 1)));
        }
    }
    return result;
}

bool RecordedNotices::wait_for(const std::string &line, size_t times) const
{
    return wait_until([&] {
        const std::vector<std::string> now = all();
        return static_cast<size_t>(std::count(now.begin(), now.end(), line)) >= times;
    });
}

void RecordedNotices::clear() const
{
    const std::lock_guard<std::mutex> guard(lock);
    lines.clear();
}
