/* SPDX-License-Identifier: MIT */
/* Registered connections without a server thread. */
#pragma once

#include "base/flags.h"
#include "link/connection.h"
#include "link/registry.h"
#include "support/captured_lines.h"
#include "support/phone.h"
#include "support/process_state.h"
#include "support/sockets.h"
#include "tvlink.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <arpa/inet.h>

/* An open, empty registry, which is closed at the end. */
class OpenRegistry : public testing::Test
{
protected:
    OpenRegistry()
    {
        start();
    }

    ~OpenRegistry() override
    {
        stop();
        ipp_set_guard(nullptr);
    }

    /* What ipp_init and ipp_finish do, without threads. */
    static void start()
    {
        flags_start_run();
        registry_open();
    }

    static void stop()
    {
        flags_stop_running();
        registry_close();
    }

    CapturedLines lines;
};

/* The service's end is registered, and the library's; the phone's end is the test's. */
struct ListedConnection {
    explicit ListedConnection(ConnectedPair ends = tcp_pair(),
                              uint32_t peer_addr = inet_addr("192.0.2.7"))
        : phone(std::move(ends.near)), number(ends.far.release())
    {
        registry_lock();
        EXPECT_EQ(check_and_insert(number, peer_addr), 0);
        record = static_cast<CtrlPoint *>(g_cp_list.tail->data);
        registry_unlock();
    }

    /* The next bytes that the phone gets, as hex text. */
    std::string received(size_t size) const
    {
        return hex(receive_bytes(phone.get(), size));
    }

    Descriptor phone;
    int number; /* of the service's end */
    CtrlPoint *record;
};

using ListedConnections = std::vector<std::unique_ptr<ListedConnection>>;

/* So many, in this order. */
inline ListedConnections listed_connections(size_t count, ConnectedPair (*ends)() = local_pair)
{
    ListedConnections result;
    for (size_t i = 0; i < count; i++) {
        result.push_back(std::make_unique<ListedConnection>(ends()));
    }
    return result;
}

/* One more user of the connection, as the server thread is while it receives. */
inline void hold_record(CtrlPoint *record)
{
    EXPECT_EQ(connection_acquire(record).record, record);
}

inline void release_record(CtrlPoint *record)
{
    const Connection found = connection_acquire(record);
    connection_release(found);
    connection_release({found.place, record});
}

inline bool is_open(int fd)
{
    return open_descriptors().count(fd) == 1;
}

inline std::vector<void *> elements(const CtrlPointList &list)
{
    std::vector<void *> result;
    for (const ListNode *node = list.head; node != nullptr; node = node->next) {
        result.push_back(node->data);
    }
    return result;
}

inline bool is_listed(const CtrlPoint *record)
{
    for (const void *element : elements(g_cp_list)) {
        if (element == record) {
            return true;
        }
    }
    return false;
}

/* A record that a host made itself, or copied by hand. */
struct HandMadeRecord : CtrlPoint {
    explicit HandMadeRecord(int number) : CtrlPoint()
    {
        fd = number;
        pthread_mutex_init(&send_lock, nullptr);
    }
    ~HandMadeRecord()
    {
        pthread_mutex_destroy(&send_lock);
    }
    HandMadeRecord(const HandMadeRecord &) = delete;
    HandMadeRecord &operator=(const HandMadeRecord &) = delete;
};
