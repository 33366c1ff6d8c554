/* SPDX-License-Identifier: MIT */
#include "cp_address.h"
#include "cp_answer_port.h"
#include "cp_clock.h"
#include "cp_cursor.h"
#include "cp_interfaces.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

/* A search can get lost, so it is repeated; duplicate answers are listed once. */
enum { SEARCH_PERIOD_MS = 1000 };

static const uint8_t search_packet[CP_SEARCH_SIZE] = {0xA5, 0xA5, 8, 0, 'A', 'I', 'I', 'P'};

void cp_build_search(uint8_t packet[CP_SEARCH_SIZE])
{
    memcpy(packet, search_packet, sizeof search_packet);
}

CpStatus cp_decode_answer(CpBytes packet, CpTelevision *television)
{
    if (television == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *television = {};
    CpCursor cursor = cp_cursor(packet);
    cp_require(&cursor, cp_take_u8(&cursor) == 0xA5);
    cp_require(&cursor, cp_take_u8(&cursor) == 0xA5);
    cp_require(&cursor, cp_take_u16(&cursor) == CP_ANSWER_SIZE);
    const CpBytes address = cp_take_bytes(&cursor, 4);
    const uint16_t port = cp_take_u16(&cursor);
    const uint16_t device_type = cp_take_u16(&cursor);
    cp_require(&cursor, port != 0);
    if (cursor.failed) {
        return CP_PROTOCOL;
    }
    memcpy(&television->address, address.data, 4);
    television->port = port;
    television->device_type = device_type;
    return CP_OK;
}

uint32_t cp_television_address(const CpTelevision *television)
{
    return television->address != 0 ? television->address : television->source;
}

/* One search in progress. */
struct SearchRun {
    const CpSearch *search;
    int descriptor;
    sockaddr_in host; /* the only host searched, when CpSearch names one */
    CpInterfaces interfaces;
    int64_t last;     /* the end of the time-out */
    int64_t deadline; /* the same, or earlier by linger_ms */
    int64_t next_search;
    bool sent; /* at least one search */
    CpTelevision *list;
    size_t capacity;
    size_t count;
};

/* A television that is reachable on two routes answers from two sources, and is listed once. */
static bool is_same(const CpTelevision *one, const CpTelevision *other)
{
    return cp_television_address(one) == cp_television_address(other) && one->port == other->port &&
           one->device_type == other->device_type;
}

static void add_once(SearchRun *run, const CpTelevision *television)
{
    for (size_t i = 0; i < run->count; i++) {
        if (is_same(&run->list[i], television)) {
            return;
        }
    }
    if (run->count < run->capacity) {
        run->list[run->count++] = *television;
    }
    if (run->search->linger_ms != 0) {
        run->deadline = std::min(run->last, cp_deadline(run->search->linger_ms));
    }
}

/* Malformed packets are ignored: any program may send to the port. */
static void take_answer(SearchRun *run)
{
    CpTelevision television = {};
    if (cp_take_answer(run->descriptor, &television) != CP_OK) {
        return;
    }
    if (run->search->host == nullptr || television.source == run->host.sin_addr.s_addr) {
        add_once(run, &television);
    }
}

static bool send_to(int descriptor, const sockaddr_in *to)
{
    return sendto(descriptor, search_packet, sizeof search_packet, MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr *>(to), sizeof *to) == CP_SEARCH_SIZE;
}

static bool send_to_group(int descriptor, unsigned interface)
{
    const sockaddr_in group = cp_socket_address(inet_addr(CP_SEARCH_GROUP), CP_SEARCH_PORT);
    return cp_send_through(descriptor, interface) && send_to(descriptor, &group);
}

/* Sends on every interface or, if none can send, on that which the system's routes choose. */
static bool send_everywhere(const SearchRun *run)
{
    bool sent = false;
    for (size_t i = 0; i < run->interfaces.count; i++) {
        const bool ok = send_to_group(run->descriptor, run->interfaces.list[i]);
        sent = sent || ok;
    }
    return sent || send_to_group(run->descriptor, cp_any_interface);
}

/* Sends a search when one is due. CP_SYSTEM when none could be sent yet, unless announcements are
 * heard, too; a network that fails later may come back. */
static CpStatus search_when_due(SearchRun *run)
{
    if (cp_time_left(run->next_search) > 0) {
        return CP_OK;
    }
    run->next_search = cp_deadline(SEARCH_PERIOD_MS);
    const bool ok =
        run->search->host == nullptr ? send_everywhere(run) : send_to(run->descriptor, &run->host);
    run->sent = run->sent || ok;
    return run->sent || run->search->hear_announcements ? CP_OK : CP_SYSTEM;
}

static bool is_over(const SearchRun *run)
{
    const size_t enough = run->search->enough;
    return (enough != 0 && run->count >= enough) || cp_time_left(run->deadline) == 0;
}

static CpStatus collect(SearchRun *run)
{
    do {
        const CpStatus status = search_when_due(run);
        if (status != CP_OK) {
            return status;
        }
        const int64_t until = std::min(run->next_search, run->deadline);
        const int ready = cp_wait_ready(run->descriptor, POLLIN, until);
        if (ready < 0) {
            return CP_SYSTEM;
        }
        if (ready > 0) {
            take_answer(run);
        }
    } while (!is_over(run));
    return run->count > 0 ? CP_OK : CP_NOT_FOUND;
}

static CpStatus open_socket(SearchRun *run)
{
    run->descriptor = cp_answer_socket();
    if (run->descriptor < 0) {
        return CP_SYSTEM;
    }
    cp_list_interfaces(&run->interfaces);
    if (run->search->hear_announcements) {
        cp_join_group(run->descriptor, &run->interfaces, inet_addr(CP_ANNOUNCEMENT_GROUP));
    }
    return cp_bind_answer_port(run->descriptor, run->deadline);
}

CpStatus cp_discover(const CpSearch *search, CpTelevision *list, size_t capacity, size_t *found)
{
    if (search == nullptr || list == nullptr || capacity == 0 || found == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *found = 0;
    SearchRun run = {};
    run.search = search;
    run.list = list;
    run.capacity = capacity;
    CpStatus status = CP_OK;
    if (search->host != nullptr) {
        status = cp_resolve(search->host, CP_SEARCH_PORT, &run.host);
    }
    if (status != CP_OK) {
        return status;
    }
    run.last = cp_deadline(search->timeout_ms);
    run.deadline = run.last;
    run.next_search = cp_now();
    status = open_socket(&run);
    if (status == CP_OK) {
        status = collect(&run);
    }
    cp_close_keeping_errno(run.descriptor);
    *found = run.count;
    return status;
}
