/* SPDX-License-Identifier: MIT */
#include "net/descriptor_set.h"

#include "support/system_calls.h"

#include <cerrno>
#include <climits>
#include <vector>

#include <gtest/gtest.h>

namespace
{

class DescriptorSets : public testing::Test
{
protected:
    ~DescriptorSets() override
    {
        descriptor_set_free(&set);
    }

    std::vector<int> members() const
    {
        std::vector<int> result;
        for (int fd = descriptor_set_next(&set, 0); fd >= 0;
             fd = descriptor_set_next(&set, fd + 1)) {
            result.push_back(fd);
        }
        return result;
    }

    using Members = std::vector<int>;

    DescriptorSet set = {};
};

} // namespace

TEST_F(DescriptorSets, AreEmptyAtFirst)
{
    EXPECT_EQ(members(), Members());
    descriptor_set_clear(&set);
    EXPECT_EQ(members(), Members());
    EXPECT_EQ(set.size, 0);
}

TEST_F(DescriptorSets, GiveTheirMembersInAscendingOrder)
{
    const Members ascending = {0, 1, 30, 31, 32, 33, 62, 63, 64, 65, 127, 128, 1023, 1024, 5000};
    for (auto fd = ascending.rbegin(); fd != ascending.rend(); ++fd) {
        descriptor_set_add(&set, *fd);
        descriptor_set_add(&set, *fd);
    }
    EXPECT_EQ(members(), ascending);
    EXPECT_EQ(set.size, 5001);
}

TEST_F(DescriptorSets, GiveTheFirstMemberAtOrAboveANumber)
{
    descriptor_set_add(&set, 100);
    EXPECT_EQ(descriptor_set_next(&set, 99), 100);
    EXPECT_EQ(descriptor_set_next(&set, 100), 100);
    EXPECT_EQ(descriptor_set_next(&set, 101), -1);
    EXPECT_EQ(descriptor_set_next(&set, INT_MAX), -1);
}

TEST_F(DescriptorSets, GrowInOrderWithoutInventingMembers)
{
    for (int fd = 3; fd < 4000; fd += 997) {
        descriptor_set_add(&set, fd);
    }
    EXPECT_EQ(members(), Members({3, 1000, 1997, 2994, 3991}));
}

TEST_F(DescriptorSets, TakeNoNegativeNumber)
{
    EXPECT_TRUE(descriptor_set_add(&set, -1));
    EXPECT_TRUE(descriptor_set_add(&set, INT_MIN));
    EXPECT_EQ(members(), Members());
    EXPECT_EQ(set.size, 0);
}

TEST_F(DescriptorSets, AreEmptyAgainOnceTheyAreCleared)
{
    descriptor_set_add(&set, 5);
    descriptor_set_add(&set, 2000);
    descriptor_set_clear(&set);
    EXPECT_EQ(members(), Members());
    EXPECT_EQ(set.size, 0);
    descriptor_set_add(&set, 2100);
    EXPECT_EQ(members(), Members({2100}));
}

TEST_F(DescriptorSets, MayBeUsedAgainOnceTheyAreFreed)
{
    descriptor_set_add(&set, 5);
    descriptor_set_free(&set);
    EXPECT_EQ(members(), Members());
    descriptor_set_add(&set, 6);
    EXPECT_EQ(members(), Members({6}));
}

TEST_F(DescriptorSets, LeaveOutWhatThereIsNoMemoryFor)
{
    descriptor_set_add(&set, 5);
    WatchedCall allocation(system_realloc);
    allocation.fail(ENOMEM);
    EXPECT_FALSE(descriptor_set_add(&set, 9000));
    EXPECT_EQ(members(), Members({5}));
    EXPECT_EQ(set.size, 6);
    EXPECT_TRUE(descriptor_set_add(&set, 6));
    EXPECT_TRUE(descriptor_set_add(&set, 9000));
    EXPECT_EQ(members(), Members({5, 6, 9000}));
}
