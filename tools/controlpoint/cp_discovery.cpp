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

/* A search can get lost, so it is repeated; a television that answers twice is listed once. */
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

/* One search under way. */
struct Hunt {
    const CpSearch *search;
    int descriptor;
    sockaddr_in host; /* the only host that counts, when the search names one */
    CpInterfaces interfaces;
    int64_t last;     /* when the whole time is over */
    int64_t deadline; /* not later; earlier when the search need not go on for so long */
    int64_t next_search;
    bool sent; /* at least one search is out */
    CpTelevision *list;
    size_t capacity;
    size_t count;
};

/* A television that is reached by two ways answers from two sources, and is one all the same. */
static bool is_same(const CpTelevision *one, const CpTelevision *other)
{
    return cp_television_address(one) == cp_television_address(other) && one->port == other->port &&
           one->device_type == other->device_type;
}

static void add_once(Hunt *hunt, const CpTelevision *television)
{
    for (size_t i = 0; i < hunt->count; i++) {
        if (is_same(&hunt->list[i], television)) {
            return;
        }
    }
    if (hunt->count < hunt->capacity) {
        hunt->list[hunt->count++] = *television;
    }
    if (hunt->search->linger_ms != 0) {
        hunt->deadline = std::min(hunt->last, cp_deadline(hunt->search->linger_ms));
    }
}

/* Whatever is no answer is ignored: the port is open to everybody. */
static void take_answer(Hunt *hunt)
{
    CpTelevision television = {};
    if (cp_take_answer(hunt->descriptor, &television) != CP_OK) {
        return;
    }
    if (hunt->search->host == nullptr || television.source == hunt->host.sin_addr.s_addr) {
        add_once(hunt, &television);
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

/* On every network that the machine is on; if there is none, wherever the system's routes lead. */
static bool send_everywhere(const Hunt *hunt)
{
    bool sent = false;
    for (size_t i = 0; i < hunt->interfaces.count; i++) {
        const bool ok = send_to_group(hunt->descriptor, hunt->interfaces.list[i]);
        sent = sent || ok;
    }
    return sent || send_to_group(hunt->descriptor, cp_any_interface);
}

/* Sends a search when it is time for one. A network that comes and goes is no reason to give up,
 * one that never was there is: unless announcements may still arrive. */
static CpStatus search_when_due(Hunt *hunt)
{
    if (cp_time_left(hunt->next_search) > 0) {
        return CP_OK;
    }
    hunt->next_search = cp_deadline(SEARCH_PERIOD_MS);
    const bool ok = hunt->search->host == nullptr ? send_everywhere(hunt)
                                                  : send_to(hunt->descriptor, &hunt->host);
    hunt->sent = hunt->sent || ok;
    return hunt->sent || hunt->search->hear_announcements ? CP_OK : CP_SYSTEM;
}

static bool is_over(const Hunt *hunt)
{
    const size_t enough = hunt->search->enough;
    return (enough != 0 && hunt->count >= enough) || cp_time_left(hunt->deadline) == 0;
}

static CpStatus collect(Hunt *hunt)
{
    do {
        const CpStatus status = search_when_due(hunt);
        if (status != CP_OK) {
            return status;
        }
        const int64_t until = std::min(hunt->next_search, hunt->deadline);
        const int ready = cp_wait_ready(hunt->descriptor, POLLIN, until);
        if (ready < 0) {
            return CP_SYSTEM;
        }
        if (ready > 0) {
            take_answer(hunt);
        }
    } while (!is_over(hunt));
    return hunt->count > 0 ? CP_OK : CP_NOT_FOUND;
}

static CpStatus open_ear(Hunt *hunt)
{
    hunt->descriptor = cp_answer_socket();
    if (hunt->descriptor < 0) {
        return CP_SYSTEM;
    }
    cp_list_interfaces(&hunt->interfaces);
    if (hunt->search->hear_announcements) {
        cp_join_group(hunt->descriptor, &hunt->interfaces, inet_addr(CP_ANNOUNCEMENT_GROUP));
    }
    return cp_bind_answer_port(hunt->descriptor, hunt->deadline);
}

CpStatus cp_discover(const CpSearch *search, CpTelevision *list, size_t capacity, size_t *found)
{
    if (search == nullptr || list == nullptr || capacity == 0 || found == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *found = 0;
    Hunt hunt = {};
    hunt.search = search;
    hunt.list = list;
    hunt.capacity = capacity;
    CpStatus status = CP_OK;
    if (search->host != nullptr) {
        status = cp_resolve(search->host, CP_SEARCH_PORT, &hunt.host);
    }
    if (status != CP_OK) {
        return status;
    }
    hunt.last = cp_deadline(search->timeout_ms);
    hunt.deadline = hunt.last;
    hunt.next_search = cp_now();
    status = open_ear(&hunt);
    if (status == CP_OK) {
        status = collect(&hunt);
    }
    cp_close_keeping_errno(hunt.descriptor);
    *found = hunt.count;
    return status;
}
