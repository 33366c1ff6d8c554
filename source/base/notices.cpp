/* SPDX-License-Identifier: MIT */
#include "base/notices.h"

#include "base/held_calls.h"
#include "base/lock.h"
#include "base/sized_record.h"
#include "base/stats.h"

#include <errno.h>

namespace
{

/* What one call of the observer is given. */
struct Notice {
    void (*tell)(const IppObserver *to, const Notice *notice);
    uint32_t peer_addr;
    int reason;
    uint32_t number; /* connections, bytes, or phones that were reached */
    uint32_t failed;
    uint16_t code; /* or port */
    IppRequest request;
};

Lock observer_lock;
IppObserver observer GUARDED_BY(observer_lock) = {};
int wanted = 0;

} // namespace

/* ---- The observer */

int ipp_set_observer_sized(const IppObserver *to, size_t size)
{
    IppObserver next = {};
    if (to != nullptr && !sized_record_take(&next, sizeof next, to, size)) {
        return -1;
    }
    lock_take(&observer_lock);
    observer = next;
    __atomic_store_n(&wanted, to != nullptr ? 1 : 0, __ATOMIC_RELEASE);
    lock_release(&observer_lock);
    return 0;
}

bool notices_are_wanted()
{
    return __atomic_load_n(&wanted, __ATOMIC_ACQUIRE) != 0;
}

static void deliver(const void *data)
{
    const int saved = errno;
    const Notice *notice = static_cast<const Notice *>(data);
    lock_take(&observer_lock);
    const IppObserver to = observer;
    lock_release(&observer_lock);
    notice->tell(&to, notice);
    errno = saved;
}

static void post(const Notice &notice)
{
    if (!notices_are_wanted()) {
        return;
    }
    if (calls_are_held()) {
        calls_keep(deliver, &notice, sizeof notice, SIZE_MAX);
    } else {
        deliver(&notice);
    }
}

/* ---- Searches and connections */

template <void (*IppObserver::*function)(uint32_t, void *)>
static void tell_peer(const IppObserver *to, const Notice *notice)
{
    if (to->*function != nullptr) {
        (to->*function)(notice->peer_addr, to->context);
    }
}

template <void (*IppObserver::*function)(uint32_t, int, void *)>
static void tell_reason(const IppObserver *to, const Notice *notice)
{
    if (to->*function != nullptr) {
        (to->*function)(notice->peer_addr, notice->reason, to->context);
    }
}

template <void (*IppObserver::*function)(uint32_t, uint32_t, void *)>
static void tell_number(const IppObserver *to, const Notice *notice)
{
    if (to->*function != nullptr) {
        (to->*function)(notice->peer_addr, notice->number, to->context);
    }
}

template <void (*IppObserver::*function)(uint32_t, int, uint32_t, void *)>
static void tell_end(const IppObserver *to, const Notice *notice)
{
    if (to->*function != nullptr) {
        (to->*function)(notice->peer_addr, notice->reason, notice->number, to->context);
    }
}

static Notice notice_of(uint32_t peer_addr, int reason = IPP_REASON_NONE, uint32_t number = 0)
{
    Notice notice = {};
    notice.peer_addr = peer_addr;
    notice.reason = reason;
    notice.number = number;
    return notice;
}

static void post(Notice notice, void (*tell)(const IppObserver *, const Notice *))
{
    notice.tell = tell;
    post(notice);
}

void notice_search_answered(uint32_t peer_addr)
{
    stats_count(&IppStats::searches_answered);
    post(notice_of(peer_addr), tell_peer<&IppObserver::search_answered>);
}

void notice_search_refused(uint32_t peer_addr, int reason)
{
    stats_count(&IppStats::searches_refused);
    post(notice_of(peer_addr, reason), tell_reason<&IppObserver::search_refused>);
}

void notice_connected(uint32_t peer_addr)
{
    stats_count(&IppStats::connections_ever);
    const uint32_t connections = stats_count(&IppStats::connections);
    post(notice_of(peer_addr, IPP_REASON_NONE, connections), tell_number<&IppObserver::connected>);
}

void notice_connection_refused(uint32_t peer_addr, int reason)
{
    stats_count(&IppStats::connections_refused);
    post(notice_of(peer_addr, reason), tell_reason<&IppObserver::connection_refused>);
}

void notice_gone(uint32_t peer_addr, int reason)
{
    const uint32_t connections = stats_count_down(&IppStats::connections);
    post(notice_of(peer_addr, reason, connections), tell_end<&IppObserver::gone>);
}

/* ---- Requests */

template <void (*IppObserver::*function)(const IppRequest *, void *)>
static void tell_request(const IppObserver *to, const Notice *notice)
{
    if (to->*function != nullptr) {
        (to->*function)(&notice->request, to->context);
    }
}

static Notice notice_of(const IppRequest &request)
{
    Notice notice = {};
    notice.request = request;
    return notice;
}

void notice_request_arrived(const IppRequest &request)
{
    stats_count(&IppStats::requests);
    post(notice_of(request), tell_request<&IppObserver::request_arrived>);
}

void notice_slot_is_slow(const IppRequest &request)
{
    post(notice_of(request), tell_request<&IppObserver::slot_is_slow>);
}

static bool was_dropped(const IppRequest &request)
{
    return request.reason == IPP_REASON_QUEUE_FULL || request.reason == IPP_REASON_NO_MEMORY ||
           request.reason == IPP_REASON_STOPPED;
}

static void count_refused(const IppRequest &request)
{
    if (request.replied != 0) {
        stats_count(&IppStats::requests_failed);
        return;
    }
    stats_count(&IppStats::requests_silent);
    if (was_dropped(request)) {
        stats_count(&IppStats::requests_dropped);
    }
}

void notice_request_ended(const IppRequest &request)
{
    if (request.reason == IPP_REASON_NONE || request.reason == IPP_REASON_BAD_CHECKSUM) {
        stats_count(&IppStats::requests_done);
        post(notice_of(request), tell_request<&IppObserver::request_done>);
    } else {
        count_refused(request);
        post(notice_of(request), tell_request<&IppObserver::request_refused>);
    }
}

void notice_bad_frame(uint32_t peer_addr, uint32_t bytes, int reason)
{
    stats_count(&IppStats::bad_frames);
    IppRequest request = {};
    request.peer_addr = peer_addr;
    request.bytes = bytes;
    request.reason = reason;
    post(notice_of(request), tell_request<&IppObserver::request_refused>);
}

/* ---- Events, captures, pushes */

static void tell_event(const IppObserver *to, const Notice *notice)
{
    if (to->event_sent != nullptr) {
        to->event_sent(notice->code, notice->number, notice->failed, to->context);
    }
}

void notice_event_sent(uint16_t code, uint32_t reached, uint32_t failed)
{
    stats_count(&IppStats::events);
    Notice notice = notice_of(0, IPP_REASON_NONE, reached);
    notice.failed = failed;
    notice.code = code;
    post(notice, tell_event);
}

static void tell_capture(const IppObserver *to, const Notice *notice)
{
    if (to->capture_begun != nullptr) {
        to->capture_begun(notice->peer_addr, notice->code, notice->number, to->context);
    }
}

void notice_capture_begun(uint32_t peer_addr, uint16_t port, uint32_t bytes)
{
    stats_count(&IppStats::captures);
    Notice notice = notice_of(peer_addr, IPP_REASON_NONE, bytes);
    notice.code = port;
    post(notice, tell_capture);
}

void notice_capture_ended(uint32_t peer_addr, int reason, uint32_t bytes)
{
    post(notice_of(peer_addr, reason, bytes), tell_end<&IppObserver::capture_ended>);
}

void notice_push_begun(uint32_t peer_addr, uint32_t bytes)
{
    stats_count(&IppStats::pushes);
    post(notice_of(peer_addr, IPP_REASON_NONE, bytes), tell_number<&IppObserver::push_begun>);
}

void notice_push_ended(uint32_t peer_addr, int reason)
{
    post(notice_of(peer_addr, reason), tell_reason<&IppObserver::push_ended>);
}
