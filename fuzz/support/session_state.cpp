/* SPDX-License-Identifier: MIT */
#include "support/session_state.h"

#include <algorithm>

Session session;

bool contains(const std::vector<size_t> &list, size_t number)
{
    return std::find(list.begin(), list.end(), number) != list.end();
}

uint32_t backlog_bound()
{
    return BACKLOG_BOUNDS[(session.flags & KEEPS_FRAMES) / KEEPS_100_BYTES];
}

Connection *find_connection(int fd)
{
    const auto found =
        std::find_if(session.connections.begin(), session.connections.end(),
                     [&](const Connection &connection) { return connection.service_fd == fd; });
    return fd < 0 || found == session.connections.end() ? nullptr : &*found;
}

size_t index_of(const Connection *connection)
{
    size_t number = 0;
    while (&session.connections[number] != connection) {
        number++;
    }
    return number;
}

bool may_be_dropped(const Connection &connection)
{
    return connection.may_drop || connection.dropped || session.stopping;
}

size_t registered_count()
{
    return static_cast<size_t>(
        std::count_if(session.connections.begin(), session.connections.end(),
                      [](const Connection &connection) { return connection.registered; }));
}

bool is_refused(const Connection &connection)
{
    return (session.flags & GUARDED) != 0 && (session.flags & REFUSES_LAST_PHONE) != 0 &&
           connection.phone == 3;
}

Connection *connection_of(unsigned phone)
{
    const auto found =
        std::find_if(session.connections.rbegin(), session.connections.rend(),
                     [&](const Connection &connection) { return connection.phone == phone; });
    return found == session.connections.rend() || found->phone_fd < 0 ? nullptr : &*found;
}
