#include "support/session_stalls.h"

static bool in_round(Lane lane)
{
    return lane == LANE_HOST || session.broadcasts[lane].on;
}

void begin_round()
{
    session.noted_ms[present_lane()] = 0;
}

void note_taken(Connection *connection)
{
    connection->took_nothing = false;
    connection->got_nothing = false;
}

void note_sent(Connection *connection)
{
    connection->got_nothing = false;
    connection->waits_since_ms = 0;
    connection->stalls_since_ms = 0;
}

static void note_all(Lane lane, uint64_t now_ms)
{
    session.noted_ms[lane] = now_ms;
    for (Connection &connection : session.connections) {
        connection.took_nothing = connection.received.size() < connection.expected.size();
        connection.got_nothing = connection.took_nothing;
    }
}

static void begin_wait(Connection *connection, uint64_t began_ms)
{
    const Lane lane = present_lane();
    connection->waits_since_ms = began_ms;
    connection->stalls_since_ms = began_ms;
    if (!in_round(lane)) {
        return;
    }
    if (session.noted_ms[lane] == 0) {
        note_all(lane, began_ms);
    }
    if (connection->took_nothing) {
        connection->stalls_since_ms = session.noted_ms[lane];
    }
    if (connection->got_nothing) {
        connection->waits_since_ms = session.noted_ms[lane];
    }
}

void note_no_room(Connection *connection, uint64_t began_ms)
{
    if ((session.flags & GUARDED) == 0) {
        return;
    }
    if (connection->waits_since_ms == 0) {
        begin_wait(connection, began_ms);
    }
    if (began_ms - connection->stalls_since_ms >= GUARDED_STALL_MS) {
        connection->excused = true;
    }
    if (began_ms - connection->waits_since_ms >= GUARDED_STALL_MS) {
        connection->given_up = true;
    }
}
