#include "support/session_stalls.h"

static bool in_broadcast(Lane lane)
{
    return lane == LANE_HOST || session.broadcasts[lane].active;
}

void begin_broadcast()
{
    session.snapshot_ms[present_lane()] = 0;
}

void note_read(Connection *connection)
{
    connection->took_nothing = false;
    connection->got_nothing = false;
}

void note_sent(Connection *connection)
{
    connection->got_nothing = false;
    connection->latest_stall_ms = 0;
    connection->earliest_stall_ms = 0;
}

static void take_snapshot(Lane lane, uint64_t now_ms)
{
    session.snapshot_ms[lane] = now_ms;
    for (Connection &connection : session.connections) {
        connection.took_nothing = connection.received.size() < connection.expected.size();
        connection.got_nothing = connection.took_nothing;
    }
}

static void begin_stall(Connection *connection, uint64_t began_ms)
{
    const Lane lane = present_lane();
    connection->latest_stall_ms = began_ms;
    connection->earliest_stall_ms = began_ms;
    if (!in_broadcast(lane)) {
        return;
    }
    if (session.snapshot_ms[lane] == 0) {
        take_snapshot(lane, began_ms);
    }
    if (connection->took_nothing) {
        connection->earliest_stall_ms = session.snapshot_ms[lane];
    }
    if (connection->got_nothing) {
        connection->latest_stall_ms = session.snapshot_ms[lane];
    }
}

void note_blocked_send(Connection *connection, uint64_t began_ms)
{
    if ((session.flags & GUARDED) == 0) {
        return;
    }
    if (connection->latest_stall_ms == 0) {
        begin_stall(connection, began_ms);
    }
    if (began_ms - connection->earliest_stall_ms >= GUARDED_STALL_MS) {
        connection->may_drop = true;
    }
    if (began_ms - connection->latest_stall_ms >= GUARDED_STALL_MS) {
        connection->abandoned = true;
    }
}
