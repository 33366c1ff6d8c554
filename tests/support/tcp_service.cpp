/* SPDX-License-Identifier: MIT */
#include "support/tcp_service.h"

#include "base/flags.h"
#include "link/registry.h"
#include "net/stop_signal.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/dispatch.h"
#include "tvlink/frame.h"
#include "tvlink/registry.h"
#include "tvlink/reply.h"
#include "tvlink/router.h"
#include "tvlink/tcp_server.h"
#include "tvlink/workers.h"

#include <condition_variable>
#include <mutex>

#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

/* ---- The service */

TcpService::TcpService()
{
    start();
}

TcpService::~TcpService()
{
    stop();
}

void TcpService::start()
{
    flags_start_run();
    stop_signal_open();
    registry_open();
    ASSERT_EQ(startDevCallBackThread(), 0);
    ASSERT_EQ(startHeartBeatFeedbackThread(), 0);
    ASSERT_EQ(start_tcp_thread(), 0);
}

void TcpService::stop()
{
    ipp_finish();
}

/* ---- The registry */

size_t connected()
{
    registry_lock();
    const size_t count = g_cp_list.count;
    registry_unlock();
    return count;
}

bool wait_for_connected(size_t count)
{
    return wait_until([&] { return connected() == count; });
}

static bool leads_to(const CtrlPoint *record, uint16_t port)
{
    sockaddr_in peer = {};
    socklen_t size = sizeof peer;
    return getpeername(record->fd, reinterpret_cast<sockaddr *>(&peer), &size) == 0 &&
           ntohs(peer.sin_port) == port;
}

static bool look_once(uint16_t port, const std::function<void(CtrlPoint &record)> &look)
{
    bool found = false;
    registry_lock();
    for (const ListNode *node = g_cp_list.head; node != nullptr && !found; node = node->next) {
        CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        found = leads_to(record, port);
        if (found) {
            look(*record);
        }
    }
    registry_unlock();
    return found;
}

bool look_at(const Phone &phone, const std::function<void(const CtrlPoint &record)> &look)
{
    const uint16_t port = phone.port();
    return wait_until([&] { return look_once(port, look); });
}

bool registered(const Phone &phone)
{
    return look_at(phone, [](const CtrlPoint &) {});
}

int number_of(const Phone &phone)
{
    int number = -1;
    look_at(phone, [&](const CtrlPoint &record) { number = record.fd; });
    return number;
}

CtrlPoint *record_of(const Phone &phone)
{
    CtrlPoint *found = nullptr;
    const uint16_t port = phone.port();
    wait_until([&] { return look_once(port, [&](CtrlPoint &record) { found = &record; }); });
    return found;
}

void drop(CtrlPoint *record)
{
    pthread_mutex_lock(&g_cp_list_mutex);
    list_remove(&g_cp_list, record, ctrlpoint_free);
    pthread_mutex_unlock(&g_cp_list_mutex);
}

/* ---- Requests */

namespace
{

std::mutex requests_lock;
std::condition_variable nobody_inside;
GetRequests::Function on_request;
int inside = 0;

int serve(CtrlPoint *item, uint8_t *body, int32_t length)
{
    std::unique_lock<std::mutex> guard(requests_lock);
    const GetRequests::Function function = on_request;
    inside++;
    guard.unlock();
    function(item, Bytes(body, body + length));
    guard.lock();
    inside--;
    nobody_inside.notify_all();
    return 0;
}

} // namespace

GetRequests::GetRequests(Function function)
{
    on_request = std::move(function);
    g_dev_interface[0] = serve;
}

GetRequests::~GetRequests()
{
    std::unique_lock<std::mutex> guard(requests_lock);
    nobody_inside.wait(guard, [] { return inside == 0; });
    g_dev_interface[0] = tv_get;
}

int echo(CtrlPoint *item, const Bytes &body)
{
    return tcp_sendback(item, FRAME_GET_REPLY, body.data() + 1,
                        static_cast<int32_t>(body.size() - 1));
}

/* ---- Doors */

struct Door::State {
    std::mutex lock;
    std::condition_variable changed;
    bool open = false;
    int came = 0;
};

Door::Door() : state_(std::make_shared<State>())
{
}

Door::~Door()
{
    open();
}

void Door::pass() const
{
    const std::shared_ptr<State> state = state_;
    std::unique_lock<std::mutex> guard(state->lock);
    state->came++;
    state->changed.notify_all();
    state->changed.wait(guard, [&] { return state->open; });
}

void Door::open() const
{
    const std::lock_guard<std::mutex> guard(state_->lock);
    state_->open = true;
    state_->changed.notify_all();
}

bool Door::wait_for_somebody(int count) const
{
    std::unique_lock<std::mutex> guard(state_->lock);
    return state_->changed.wait_for(guard, PATIENCE, [&] { return state_->came >= count; });
}
