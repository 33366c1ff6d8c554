/* SPDX-License-Identifier: MIT */
/* The time of day may be set at any moment, by minutes or by years, and goes on beyond 2038 and
 * 2106. */
#include "link/receive.h"
#include "support/service_facts.h"
#include "support/taken_time.h"
#include "tvlink/heartbeat.h"
#include "unit/link/listed_connection.h"

#include <algorithm>
#include <memory>

namespace
{

using Records = std::vector<void *>;

const uint32_t YEAR_2023 = 1700000000;
const uint32_t YEAR_2038 = 0x80000000; /* here a time with a sign would turn negative */
const uint32_t YEAR_2106 = 0;          /* and here one without begins again */
const int TWENTY_YEARS = 631152000;

class ClockJump : public OpenRegistry
{
protected:
    /* A byte arrives from the phone. */
    static void hear(const ListedConnection &connection)
    {
        send_bytes(connection.phone.get(), bytes("A5"));
        receive_ctrlpoint_packet(connection.record);
    }

    /* The idle check of so many passes drops nobody. */
    void expect_nobody_is_dropped(size_t passes)
    {
        const Records before = elements(g_cp_list);
        lines.clear();
        for (size_t i = 0; i < passes; i++) {
            EXPECT_EQ(check_ctrlpoint_timeout(), 0);
        }
        EXPECT_EQ(elements(g_cp_list), before);
        EXPECT_TRUE(lines.all().empty());
    }

    /* The idle check of the next passes drops these, one each. */
    void expect_drops(Records dropped)
    {
        Records left = elements(g_cp_list);
        lines.clear();
        for (size_t i = 0; i < dropped.size(); i++) {
            left.erase(std::remove(left.begin(), left.end(), dropped[i]), left.end());
            EXPECT_EQ(check_ctrlpoint_timeout(), 0);
            EXPECT_EQ(elements(g_cp_list), left);
            EXPECT_EQ(lines.count(TIMEOUT_LINE), i + 1);
        }
        expect_nobody_is_dropped(1);
    }

    /* What has come to the phone by now. */
    static std::string all_received(const ListedConnection &connection)
    {
        uint8_t data[1000];
        const ssize_t size = recv(connection.phone.get(), data, sizeof data, MSG_DONTWAIT);
        return size > 0 ? hex(data, static_cast<size_t>(size)) : "";
    }

    FrozenClock clock{YEAR_2023};
};

struct IdleRow {
    uint32_t active;
    uint32_t now;
    int idle;
};

const IdleRow IDLE_ROWS[] = {
    /* over the second at which a time with a sign turns negative */
    {0x7FFFFFF0, 0x8000000E, 0}, /* 30 seconds */
    {0x7FFFFFF0, 0x8000000F, 1},
    {0x7FFFFFF0, 0x8000011B, 1}, /* 299 */
    {0x7FFFFFF0, 0x8000011C, 0},
    {0x7FFFFFFF, 0x80000000, 0},
    {0x80000000, 0x7FFFFFFF, 0}, /* set back over it */
    {0x80000000, 0x8000001F, 1},
    /* at and over the last second of all */
    {0xFFFFFFF0, 0x0000000E, 0},
    {0xFFFFFFF0, 0x0000000F, 1},
    {0xFFFFFFF0, 0x0000011B, 1},
    {0xFFFFFFF0, 0x0000011C, 0},
    {0xFFFFFFFF, 0x00000000, 0},
    {0xFFFFFFFF, 0x0000001D, 0},
    {0xFFFFFFFF, 0x0000001E, 1},
    {0xFFFFFFFF, 0x0000012A, 1},
    {0xFFFFFFFF, 0x0000012B, 0},
    {0xFFFFFFE1, 0xFFFFFFFF, 0},
    {0xFFFFFFE0, 0xFFFFFFFF, 1},
    {0xFFFFFED4, 0xFFFFFFFF, 1},
    {0xFFFFFED3, 0xFFFFFFFF, 0},
    {0x00000000, 0xFFFFFFFF, 0}, /* set back by a second over it */
    {0x00000000, 0x00000000, 0},
    {0x00000000, 0x0000001F, 1},
    /* by half of all time, ahead and back, and by nearly all of it, which is little back */
    {YEAR_2023, YEAR_2023 + 0x7FFFFFFF, 0},
    {YEAR_2023, YEAR_2023 + 0x80000000, 0},
    {YEAR_2023, YEAR_2023 - 0x7FFFFFFF, 0},
    {YEAR_2023, YEAR_2023 + 0xFFFFFFE1, 0},
};

struct HeartRow {
    uint32_t last;
    uint32_t now;
    bool due;
};

const HeartRow HEART_ROWS[] = {
    {0, 0, false}, /* a clock that begins in 1970 */
    {0, 5, false},
    {0, 6, true},
    {0, 0xFFFFFFFF, true},
    {YEAR_2023, YEAR_2023 - 1, true}, /* set back: there is no telling */
    {YEAR_2023, YEAR_2023 - TWENTY_YEARS, true},
    {YEAR_2023, YEAR_2023 + TWENTY_YEARS, true},
    {0x7FFFFFFF, 0x80000004, false},
    {0x7FFFFFFF, 0x80000005, true},
    {0xFFFFFFFF, 0, false},
    {0xFFFFFFFE, 3, false},
    {0xFFFFFFFE, 4, true},
};

} // namespace

TEST_F(ClockJump, LeavesTheBoundsOfIdlenessWhereTheyAre)
{
    HandMadeRecord record(5);
    for (const IdleRow &row : IDLE_ROWS) {
        record.last_active = row.active;
        clock.set(row.now);
        EXPECT_EQ(ctrlpoint_is_idle(&record, nullptr), row.idle)
            << std::hex << row.active << " -> " << row.now;
    }
}

TEST_F(ClockJump, OfAMinuteDropsEverybodyOneInEachPassInOrderOfConnection)
{
    const ListedConnections all = listed_connections(4);
    clock.advance(60);
    expect_drops({all[0]->record, all[1]->record, all[2]->record, all[3]->record});
    for (const auto &connection : all) {
        EXPECT_TRUE(wait_for_end(connection->phone.get()));
        EXPECT_FALSE(is_open(connection->number));
    }
}

TEST_F(ClockJump, OfAMinuteSparesWhoeverIsHeardBeforeItsTurnComes)
{
    const ListedConnections all = listed_connections(4);
    clock.advance(60);
    hear(*all[2]);
    expect_drops({all[0]->record, all[1]->record, all[3]->record});
    EXPECT_TRUE(is_listed(all[2]->record));
}

TEST_F(ClockJump, SparesNobodyForBytesThatAreNotReadYet)
{
    const ListedConnections all = listed_connections(2);
    send_bytes(all[0]->phone.get(), bytes("A5"));
    clock.advance(31);
    expect_drops({all[0]->record, all[1]->record});
}

TEST_F(ClockJump, OfFiveMinutesDropsNobodyNorEverWhoIsSilentFromThenOn)
{
    const ListedConnections all = listed_connections(2);
    for (const int ahead : {300, 1, 30, 300, 3600, TWENTY_YEARS}) {
        clock.advance(ahead);
        expect_nobody_is_dropped(3);
    }
    hear(*all[1]);
    clock.advance(31);
    expect_drops({all[1]->record});
    EXPECT_TRUE(is_listed(all[0]->record));
}

TEST_F(ClockJump, BackWithinTheBandDropsWhoHadLeftItUnnoticed)
{
    const ListedConnections all = listed_connections(1);
    clock.advance(300);
    expect_nobody_is_dropped(1);
    clock.advance(-1);
    expect_drops({all[0]->record});
}

TEST_F(ClockJump, BackKeepsASilentPhoneUntilTheClockHasMadeUpForIt)
{
    for (const int back : {1, 60, 300, TWENTY_YEARS}) {
        const ListedConnections all = listed_connections(1);
        clock.advance(-back);
        expect_nobody_is_dropped(3);
        clock.advance(back + 30);
        expect_nobody_is_dropped(3);
        clock.advance(1);
        expect_drops({all[0]->record});
    }
}

TEST_F(ClockJump, IsForgottenWithTheNextByte)
{
    for (const int jump : {300, -300, TWENTY_YEARS, -TWENTY_YEARS}) {
        const ListedConnections all = listed_connections(2);
        clock.advance(jump);
        for (const auto &connection : all) {
            hear(*connection);
            EXPECT_EQ(connection->record->last_active, clock.now());
            EXPECT_EQ(connection->record->connect_time, clock.now() - static_cast<uint32_t>(jump));
        }
        clock.advance(30);
        expect_nobody_is_dropped(3);
        clock.advance(1);
        expect_drops({all[0]->record, all[1]->record});
    }
}

TEST_F(ClockJump, IsNoneWhereTheSecondsTurnOver)
{
    for (const uint32_t turn : {YEAR_2038, YEAR_2106}) {
        clock.set(turn - 16);
        const ListedConnections all = listed_connections(2);
        EXPECT_EQ(all[0]->record->connect_time, turn - 16);
        clock.set(turn - 1);
        hear(*all[1]);
        EXPECT_EQ(all[1]->record->last_active, turn - 1);
        clock.set(turn + 14);
        expect_nobody_is_dropped(3);
        clock.set(turn + 15);
        expect_drops({all[0]->record});
        hear(*all[1]);
        EXPECT_EQ(all[1]->record->last_active, turn + 15);
        clock.set(turn + 45);
        expect_nobody_is_dropped(3);
        clock.set(turn + 46);
        expect_drops({all[1]->record});
    }
}

TEST_F(ClockJump, LeavesThePaceOfHeartbeatsToTheClock)
{
    const ListedConnection connection(local_pair());
    for (const HeartRow &row : HEART_ROWS) {
        connection.record->last_heartbeat = row.last;
        clock.set(row.now);
        EXPECT_EQ(check_ctrlpoint_heart(), 0);
        const std::string expected = row.due ? hex(answer_heartbeat()) : "";
        EXPECT_EQ(all_received(connection), expected) << std::hex << row.last << " -> " << row.now;
        EXPECT_EQ(connection.record->last_heartbeat, row.due ? row.now : row.last);
    }
}
