/* SPDX-License-Identifier: MIT */
#include "cp_address.h"
#include "cp_answer_port.h"
#include "cp_clock.h"
#include "cp_interfaces.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <poll.h>

/* How often the group is joined on interfaces that have come up. */
enum { JOIN_PERIOD_MS = 1000 };

struct CpListener {
    int descriptor;
    uint32_t only; /* the only host whose announcements are accepted, network byte order; 0: all */
    int64_t next_join;
};

/* The system refuses to join a group again, which does no harm. */
static void join_when_due(CpListener *listener)
{
    if (cp_time_left(listener->next_join) > 0) {
        return;
    }
    listener->next_join = cp_deadline(JOIN_PERIOD_MS);
    CpInterfaces interfaces = {};
    cp_list_interfaces(&interfaces);
    cp_join_group(listener->descriptor, &interfaces, inet_addr(CP_ANNOUNCEMENT_GROUP));
}

static CpStatus open_socket(CpListener *listener, uint32_t timeout_ms)
{
    listener->descriptor = cp_answer_socket();
    if (listener->descriptor < 0) {
        return CP_SYSTEM;
    }
    listener->next_join = cp_now();
    join_when_due(listener);
    return cp_bind_answer_port(listener->descriptor, cp_deadline(timeout_ms));
}

CpStatus cp_listen(CpListener **listener, const char *host, uint32_t timeout_ms)
{
    if (listener == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *listener = nullptr;
    sockaddr_in only = {};
    if (host != nullptr) {
        const CpStatus status = cp_resolve(host, CP_ANSWER_PORT, &only);
        if (status != CP_OK) {
            return status;
        }
    }
    auto *made = static_cast<CpListener *>(calloc(1, sizeof(CpListener)));
    if (made == nullptr) {
        return CP_SYSTEM;
    }
    made->only = only.sin_addr.s_addr;
    const CpStatus status = open_socket(made, timeout_ms);
    if (status != CP_OK) {
        cp_stop_listening(made);
        return status;
    }
    *listener = made;
    return CP_OK;
}

void cp_stop_listening(CpListener *listener)
{
    if (listener != nullptr) {
        cp_close_keeping_errno(listener->descriptor);
        free(listener);
    }
}

int cp_listener_descriptor(const CpListener *listener)
{
    return listener == nullptr ? -1 : listener->descriptor;
}

static bool take_accepted(const CpListener *listener, CpTelevision *television)
{
    return cp_take_answer(listener->descriptor, television) == CP_OK &&
           (listener->only == 0 || television->source == listener->only);
}

CpStatus cp_hear(CpListener *listener, CpTelevision *television, uint32_t timeout_ms)
{
    if (listener == nullptr || television == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    const int64_t deadline = cp_deadline(timeout_ms);
    do {
        join_when_due(listener);
        const int64_t until = std::min(listener->next_join, deadline);
        const int ready = cp_wait_ready(listener->descriptor, POLLIN, until);
        if (ready < 0) {
            return CP_SYSTEM;
        }
        if (ready > 0 && take_accepted(listener, television)) {
            return CP_OK;
        }
    } while (cp_time_left(deadline) > 0);
    *television = {};
    return CP_TIMED_OUT;
}
