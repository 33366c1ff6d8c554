/* SPDX-License-Identifier: MIT */
#include "discovery/waiting_answers.h"

#include "support/wire.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

class WaitingAnswerList : public testing::Test
{
protected:
    void add(uint64_t due_us, uint32_t address)
    {
        WaitingAnswer answer = {due_us, address, {}};
        memset(answer.packet, static_cast<int>(address & 0xFF), sizeof answer.packet);
        waiting_answers_add(waiting.get(), &answer);
    }

    /* The addresses of those that are due, in the order in which they are taken. */
    std::vector<uint32_t> due_at(uint64_t now_us)
    {
        std::vector<uint32_t> addresses;
        WaitingAnswer due = {};
        while (waiting_answers_take_due(waiting.get(), now_us, &due)) {
            EXPECT_LE(due.due_us, now_us);
            EXPECT_EQ(hex(due.packet, sizeof due.packet),
                      hex(Bytes(ANSWER_SIZE, static_cast<uint8_t>(due.address & 0xFF))));
            addresses.push_back(due.address);
        }
        return addresses;
    }

    const std::unique_ptr<WaitingAnswers> waiting = std::make_unique<WaitingAnswers>();
};

using Addresses = std::vector<uint32_t>;

TEST_F(WaitingAnswerList, AreTakenOnceTheyAreDueTheEarliestFirst)
{
    add(300, 3);
    add(100, 1);
    add(400, 4);
    add(200, 2);
    EXPECT_EQ(due_at(99), Addresses());
    EXPECT_EQ(due_at(100), Addresses{1});
    EXPECT_EQ(due_at(399), (Addresses{2, 3}));
    add(150, 5);
    EXPECT_EQ(due_at(UINT64_MAX), (Addresses{5, 4}));
    EXPECT_EQ(waiting->count, 0u);
    EXPECT_EQ(due_at(UINT64_MAX), Addresses());
}

TEST_F(WaitingAnswerList, KeepTheOrderInWhichTheyCameWhenTheyAreDueTogether)
{
    add(200, 1);
    add(200, 2);
    add(100, 3);
    add(200, 4);
    EXPECT_EQ(due_at(200), (Addresses{3, 1, 2, 4}));
}

TEST_F(WaitingAnswerList, KnowTheirAddresses)
{
    EXPECT_FALSE(waiting_answers_has(waiting.get(), 1));
    add(100, 1);
    add(200, 0xFFFFFFFF);
    EXPECT_TRUE(waiting_answers_has(waiting.get(), 1));
    EXPECT_TRUE(waiting_answers_has(waiting.get(), 0xFFFFFFFF));
    EXPECT_FALSE(waiting_answers_has(waiting.get(), 0));
    EXPECT_EQ(due_at(100), Addresses{1});
    EXPECT_FALSE(waiting_answers_has(waiting.get(), 1));
}

TEST_F(WaitingAnswerList, HaveRoomUpToTheLimitOfTheMoment)
{
    EXPECT_FALSE(waiting_answers_has_room(waiting.get(), 0));
    add(100, 1);
    add(200, 2);
    EXPECT_FALSE(waiting_answers_has_room(waiting.get(), 1));
    EXPECT_FALSE(waiting_answers_has_room(waiting.get(), 2));
    EXPECT_TRUE(waiting_answers_has_room(waiting.get(), 3));
}

TEST_F(WaitingAnswerList, AreAtMost1024)
{
    Addresses all;
    for (uint32_t address = 1; address <= 1024; address++) {
        ASSERT_TRUE(waiting_answers_has_room(waiting.get(), UINT32_MAX)) << address;
        add(1024 - address, address);
        all.insert(all.begin(), address);
    }
    EXPECT_FALSE(waiting_answers_has_room(waiting.get(), UINT32_MAX));
    EXPECT_FALSE(waiting_answers_has_room(waiting.get(), 1025));
    EXPECT_EQ(due_at(1024), all);
    EXPECT_TRUE(waiting_answers_has_room(waiting.get(), UINT32_MAX));
}

} // namespace
