/* SPDX-License-Identifier: MIT */
#include "tvlink/registry.h"

#include "link/connection.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/trace.h"
#include "unit/link/listed_connection.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <map>

/* ---- The list */

namespace
{

std::vector<void *> released;

void note_release(void *element)
{
    released.push_back(element);
}

int matches_value(void *element, void *key)
{
    return *static_cast<int *>(element) == *static_cast<int *>(key) ? 1 : 0;
}

int answers_two(void *, void *)
{
    return 2;
}

class List : public testing::Test
{
protected:
    List()
    {
        released.clear();
        list_init(&list);
    }

    ~List() override
    {
        list_clean(&list, note_release);
    }

    void fill()
    {
        for (int &element : values) {
            ASSERT_EQ(list_insert(&list, &element), 0);
        }
    }

    using Elements = std::vector<void *>;

    int values[3] = {10, 20, 30};
    Elements all = {&values[0], &values[1], &values[2]};
    CtrlPointList list = {7, nullptr, nullptr};
};

} // namespace

TEST_F(List, HasItsFieldsInTheirFixedOrder)
{
    const size_t pointer = sizeof(void *);
    const std::vector<size_t> places = {offsetof(CtrlPointList, count),
                                        sizeof(CtrlPointList::count), offsetof(CtrlPointList, head),
                                        offsetof(CtrlPointList, tail), sizeof(CtrlPointList)};
    EXPECT_EQ(places, (std::vector<size_t>{0, 4, pointer, 2 * pointer, 3 * pointer}));
    EXPECT_EQ(offsetof(ListNode, data), 0u);
    EXPECT_EQ(offsetof(ListNode, next), pointer);
    EXPECT_EQ(sizeof(ListNode), 2 * pointer);
}

TEST_F(List, IsEmptyOnceItIsInitialised)
{
    ListNode node = {nullptr, nullptr};
    list = {3, &node, &node};
    list_init(&list);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.tail, nullptr);
    list_init(nullptr);
}

TEST_F(List, KeepsElementsInOrderOfArrival)
{
    fill();
    EXPECT_EQ(elements(list), all);
    EXPECT_EQ(list.count, 3u);
    EXPECT_EQ(list.head->data, &values[0]);
    EXPECT_EQ(list.tail->data, &values[2]);
    EXPECT_EQ(list.tail->next, nullptr);
}

TEST_F(List, HasItsOnlyElementAtBothEnds)
{
    EXPECT_EQ(list_insert(&list, &values[0]), 0);
    EXPECT_EQ(list.head, list.tail);
    EXPECT_EQ(list.count, 1u);
}

TEST_F(List, TakesNoNullElementAndNoNullListIsFilled)
{
    EXPECT_EQ(list_insert(nullptr, &values[0]), -1);
    EXPECT_EQ(list_insert(&list, nullptr), -1);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.head, nullptr);
}

TEST_F(List, StaysAsItWasWhenMemoryIsOut)
{
    ASSERT_EQ(list_insert(&list, &values[0]), 0);
    WatchedCall allocation(system_malloc);
    allocation.fail(ENOMEM);
    EXPECT_EQ(list_insert(&list, &values[1]), -1);
    EXPECT_EQ(elements(list), Elements({&values[0]}));
    EXPECT_EQ(list.count, 1u);
    EXPECT_EQ(list.tail->data, &values[0]);
    EXPECT_EQ(list.tail->next, nullptr);
}

TEST_F(List, GivesTheFirstElementThatMatches)
{
    int twin = 20;
    int key = 20;
    fill();
    ASSERT_EQ(list_insert(&list, &twin), 0);
    EXPECT_EQ(list_get(&list, matches_value, &key), &values[1]);
    EXPECT_EQ(list_find(&list, matches_value, &key), 1);
}

TEST_F(List, GivesNothingWhenNoElementMatches)
{
    int key = 40;
    fill();
    EXPECT_EQ(list_get(&list, matches_value, &key), nullptr);
    EXPECT_EQ(list_find(&list, matches_value, &key), 0);
    EXPECT_EQ(list_get(nullptr, matches_value, &key), nullptr);
    EXPECT_EQ(list_find(nullptr, matches_value, &key), 0);
}

TEST_F(List, CountsOnlyAResultOfOneAsAMatch)
{
    fill();
    EXPECT_EQ(list_get(&list, answers_two, nullptr), nullptr);
    EXPECT_EQ(list_find(&list, answers_two, nullptr), 0);
}

int matches_null(void *element, void *)
{
    return element == nullptr ? 1 : 0;
}

TEST_F(List, FindsAnElementThatIsNull)
{
    fill();
    EXPECT_EQ(list_find(&list, matches_null, nullptr), 0);
    list.head->next->data = nullptr;
    EXPECT_EQ(list_find(&list, matches_null, nullptr), 1);
    EXPECT_EQ(list_get(&list, matches_null, nullptr), nullptr);
}

TEST_F(List, LosesItsOnlyElementAndTakesAnotherOne)
{
    ASSERT_EQ(list_insert(&list, &values[0]), 0);
    EXPECT_EQ(list_remove(&list, &values[0], note_release), 0);
    EXPECT_EQ(released, Elements({&values[0]}));
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.tail, nullptr);

    ASSERT_EQ(list_insert(&list, &values[1]), 0);
    EXPECT_EQ(list.head->data, &values[1]);
    EXPECT_EQ(list.tail, list.head);
}

TEST_F(List, LosesTheLastOfTwo)
{
    ASSERT_EQ(list_insert(&list, &values[0]), 0);
    ASSERT_EQ(list_insert(&list, &values[1]), 0);
    EXPECT_EQ(list_remove(&list, &values[1], note_release), 0);
    EXPECT_EQ(released, Elements({&values[1]}));
    EXPECT_EQ(list.head->data, &values[0]);
    EXPECT_EQ(list.tail, list.head);
    EXPECT_EQ(list.head->next, nullptr);
    EXPECT_EQ(list.count, 1u);
}

TEST_F(List, LosesTheFirstElement)
{
    fill();
    EXPECT_EQ(list_remove(&list, &values[0], note_release), 0);
    EXPECT_EQ(released, Elements({&values[0]}));
    EXPECT_EQ(elements(list), Elements({&values[1], &values[2]}));
    EXPECT_EQ(list.tail->data, &values[2]);
    EXPECT_EQ(list.count, 2u);
}

TEST_F(List, LosesAnElementInTheMiddle)
{
    fill();
    EXPECT_EQ(list_remove(&list, &values[1], note_release), 0);
    EXPECT_EQ(released, Elements({&values[1]}));
    EXPECT_EQ(elements(list), Elements({&values[0], &values[2]}));
    EXPECT_EQ(list.tail->data, &values[2]);
    EXPECT_EQ(list.count, 2u);
}

/* The list that elements are removed from, and it at each release. */
const CtrlPointList *removing_from;
std::vector<CtrlPointList> at_release;
std::vector<std::vector<void *>> rest_at_release;

void note_rest(void *)
{
    at_release.push_back(*removing_from);
    rest_at_release.push_back(elements(*removing_from));
}

TEST_F(List, NoLongerHasAnElementWhenItIsReleased)
{
    fill();
    removing_from = &list;
    at_release.clear();
    rest_at_release.clear();
    for (const int place : {1, 2, 0}) {
        EXPECT_EQ(list_remove(&list, &values[place], note_rest), 0);
    }
    EXPECT_EQ(rest_at_release, (std::vector<Elements>{{&values[0], &values[2]}, {&values[0]}, {}}));
    ASSERT_EQ(at_release.size(), 3u);
    EXPECT_EQ(at_release[0].count, 2u);
    EXPECT_EQ(at_release[1].count, 1u);
    EXPECT_EQ(at_release[1].tail, at_release[1].head);
    EXPECT_EQ(at_release[2].count, 0u);
    EXPECT_EQ(at_release[2].tail, nullptr);
}

TEST_F(List, LosesTheFirstOfTwoEntriesForOneElement)
{
    ASSERT_EQ(list_insert(&list, &values[0]), 0);
    ASSERT_EQ(list_insert(&list, &values[1]), 0);
    ASSERT_EQ(list_insert(&list, &values[0]), 0);
    EXPECT_EQ(list_remove(&list, &values[0], note_release), 0);
    EXPECT_EQ(released, Elements({&values[0]}));
    EXPECT_EQ(elements(list), Elements({&values[1], &values[0]}));
}

TEST_F(List, LosesNothingForAnElementThatIsNotInIt)
{
    int stranger = 10;
    fill();
    EXPECT_EQ(list_remove(&list, &stranger, note_release), 0);
    EXPECT_TRUE(released.empty());
    EXPECT_EQ(elements(list), all);
}

TEST_F(List, RefusesToRemoveNull)
{
    fill();
    EXPECT_EQ(list_remove(nullptr, &values[0], note_release), -1);
    EXPECT_EQ(list_remove(&list, nullptr, note_release), -1);
    EXPECT_TRUE(released.empty());
    EXPECT_EQ(list.count, 3u);
}

TEST_F(List, IsCleanedFromHeadToTail)
{
    fill();
    EXPECT_EQ(list_clean(&list, note_release), 0);
    EXPECT_EQ(released, all);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.tail, nullptr);
    EXPECT_EQ(list_clean(&list, note_release), 0);
    EXPECT_EQ(list_clean(nullptr, note_release), -1);
    EXPECT_EQ(released, all);
}

/* ---- The record */

TEST(Record, HasItsFieldsInTheirFixedOrder)
{
    const std::vector<size_t> offsets = {
        offsetof(CtrlPoint, fd),
        offsetof(CtrlPoint, peer_addr),
        offsetof(CtrlPoint, rx_buf),
        offsetof(CtrlPoint, rx_cap),
        offsetof(CtrlPoint, rx_fill),
        offsetof(CtrlPoint, rx_pos),
        offsetof(CtrlPoint, last_heartbeat),
        offsetof(CtrlPoint, connect_time),
        offsetof(CtrlPoint, last_active),
        offsetof(CtrlPoint, idle_limit),
        offsetof(CtrlPoint, reserved),
        offsetof(CtrlPoint, send_lock),
    };
    const size_t after_pointer = 8 + sizeof(void *);
    std::vector<size_t> expected = {0, 4, 8};
    for (size_t i = 0; i < 8; i++) {
        expected.push_back(after_pointer + 4 * i);
    }
    const size_t lock = after_pointer + 4 * 7 + 16;
    expected.push_back((lock + alignof(pthread_mutex_t) - 1) & ~(alignof(pthread_mutex_t) - 1));
    EXPECT_EQ(offsets, expected);
}

TEST(Record, IsMatchedByItsAddress)
{
    HandMadeRecord record(5);
    record.peer_addr = 0x0100007F;
    uint32_t key = 0x0100007F;
    EXPECT_EQ(ctrlpoint_match_addr(&record, &key), 1);
    key = 0x0200007F;
    EXPECT_EQ(ctrlpoint_match_addr(&record, &key), 0);
}

TEST(Record, IsMatchedByItsDescriptor)
{
    HandMadeRecord record(5);
    int32_t key = 5;
    EXPECT_EQ(ctrlpoint_match_fd(&record, &key), 1);
    key = 6;
    EXPECT_EQ(ctrlpoint_match_fd(&record, &key), 0);
}

TEST(Record, IsMatchedByACopyOfItself)
{
    HandMadeRecord record(5);
    HandMadeRecord copy(5);
    EXPECT_EQ(ctrlpoint_match_fd(&record, &copy), 1);
    copy.fd = 6;
    EXPECT_EQ(ctrlpoint_match_fd(&record, &copy), 0);
}

TEST(Record, IsIdleWhenNothingHasArrivedFor31To299Seconds)
{
    const FrozenClock clock;
    HandMadeRecord record(5);
    const std::vector<std::pair<int, int>> expected = {
        {0, 0},   {30, 0},  {31, 1},   {150, 1},        {299, 1},
        {300, 0}, {301, 0}, {3600, 0}, {0x7FFFFFFF, 0},
    };
    for (const auto &[age, idle] : expected) {
        record.last_active = clock.now() - static_cast<uint32_t>(age);
        EXPECT_EQ(ctrlpoint_is_idle(&record, nullptr), idle) << "after " << age << " seconds";
    }
}

TEST(Record, IsNotIdleWhenTheClockWasSetBack)
{
    const FrozenClock clock;
    HandMadeRecord record(5);
    for (const uint32_t ahead : {1u, 31u, 100u, 300u, 100000u}) {
        record.last_active = clock.now() + ahead;
        EXPECT_EQ(ctrlpoint_is_idle(&record, nullptr), 0) << ahead << " seconds ahead";
    }
}

TEST(Record, HasAnIdleTestThatLooksAtNeitherKeyNorLimit)
{
    const FrozenClock clock;
    HandMadeRecord record(5);
    record.last_active = clock.now() - 31;
    record.idle_limit = 1000;
    int32_t limit = 1000;
    EXPECT_EQ(ctrlpoint_is_idle(&record, &limit), 1);
    record.last_active = clock.now() - 30;
    record.idle_limit = 1;
    limit = 1;
    EXPECT_EQ(ctrlpoint_is_idle(&record, &limit), 0);
}

/* ---- The end of a record */

namespace
{

class RecordEnd : public OpenRegistry
{
protected:
    /* Out of the list, as the record is when it is freed. */
    static CtrlPoint *taken_out(const ListedConnection &connection)
    {
        EXPECT_EQ(list_remove(&g_cp_list, connection.record, [](void *) {}), 0);
        return connection.record;
    }
};

} // namespace

TEST_F(RecordEnd, ClosesTheSocketOfOneThatNeverReceivedAnything)
{
    const ListedConnection connection;
    CtrlPoint *record = taken_out(connection);
    ASSERT_EQ(record->rx_buf, nullptr);
    ctrlpoint_free(record);
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
}

TEST_F(RecordEnd, FreesTheBuffer)
{
    const ListedConnection connection;
    CtrlPoint *record = taken_out(connection);
    record->rx_buf = static_cast<uint8_t *>(std::malloc(100));
    record->rx_cap = 100;
    ctrlpoint_free(record); /* a leak would be found */
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(RecordEnd, ClosesTheSocketOnce)
{
    std::vector<int> closed;
    const ListedConnection connection;
    CtrlPoint *record = taken_out(connection);
    {
        const Replaced watch(system_close, [&](int fd) {
            closed.push_back(fd);
            return system_close.real(fd);
        });
        ctrlpoint_free(record);
    }
    EXPECT_EQ(closed, std::vector<int>({connection.number}));
}

TEST_F(RecordEnd, TakesTheRecordOutOfTheListThenFreesItsBufferThenClosesItsSocket)
{
    const ListedConnection stays(local_pair());
    const ListedConnection connection(local_pair());
    CtrlPoint *record = connection.record;
    record->rx_buf = static_cast<uint8_t *>(std::malloc(100));
    const std::map<const void *, std::string> blocks = {
        {record->rx_buf, "buffer"}, {record, "record"}, {g_cp_list.tail, "node"}};
    const auto note = [&](const std::string &what) {
        Trace::note(what + (is_listed(record) ? " of a listed one, " : ", ") +
                    std::to_string(g_cp_list.count));
    };
    const Replaced shut(system_shutdown, [&](int fd, int how) {
        note("shutdown");
        return system_shutdown.real(fd, how);
    });
    const Replaced close(system_close, [&](int fd) {
        note("close");
        return system_close.real(fd);
    });
    const Replaced free(system_free, [&](void *block) {
        const auto known = blocks.find(block);
        if (known != blocks.end()) {
            note("free " + known->second);
        }
        system_free.real(block);
    });
    const Trace trace;
    registry_remove(record);
    EXPECT_EQ(trace.all(), (std::vector<std::string>{"shutdown, 1", "free buffer, 1", "close, 1",
                                                     "free record, 1", "free node, 1"}));
}

TEST_F(RecordEnd, WaitsForTheLastUserButShutsTheConnectionDownAtOnce)
{
    const ListedConnection connection;
    CtrlPoint *record = taken_out(connection);
    hold_record(record);
    hold_record(record);
    ctrlpoint_free(record);
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    EXPECT_TRUE(is_open(connection.number));
    release_record(record);
    EXPECT_TRUE(is_open(connection.number));
    release_record(record);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(RecordEnd, LeavesASocketThatHasGotTheSameNumberAlone)
{
    const ListedConnection connection;
    CtrlPoint *record = taken_out(connection);
    hold_record(record);
    ctrlpoint_free(record);
    const Descriptor meanwhile = std::move(local_pair().near);
    EXPECT_NE(meanwhile.get(), connection.number);
    release_record(record);
    EXPECT_TRUE(is_open(meanwhile.get()));
}
