#include "net/descriptor_set.h"

#include "support/emulator.h"
#include "support/process_state.h"
#include "support/sockets.h"
#include "support/system_calls.h"

#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

namespace
{

const timeval AT_ONCE = {0, 0};
const timeval PATIENTLY = {30, 0};

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
    descriptor_set_add(&set, -1);
    descriptor_set_add(&set, INT_MIN);
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
    descriptor_set_add(&set, 9000);
    EXPECT_EQ(members(), Members({5}));
    EXPECT_EQ(set.size, 6);
    descriptor_set_add(&set, 6);
    descriptor_set_add(&set, 9000);
    EXPECT_EQ(members(), Members({5, 6, 9000}));
}

TEST_F(DescriptorSets, AreCopiedWithoutWhatTheCopyHeldBefore)
{
    DescriptorSet copy = {};
    descriptor_set_add(&copy, 300);
    EXPECT_TRUE(descriptor_set_copy(&copy, &set));
    EXPECT_EQ(copy.size, 0);
    EXPECT_EQ(descriptor_set_next(&copy, 0), -1);
    for (const int fd : {3, 64, 5000}) {
        descriptor_set_add(&set, fd);
    }
    EXPECT_TRUE(descriptor_set_copy(&copy, &set));
    descriptor_set_free(&set);
    std::swap(set, copy);
    EXPECT_EQ(members(), Members({3, 64, 5000}));
}

TEST_F(DescriptorSets, AreNotCopiedWhenMemoryIsOut)
{
    descriptor_set_add(&set, 3);
    DescriptorSet copy = {};
    WatchedCall memory(system_realloc);
    memory.fail(ENOMEM);
    EXPECT_FALSE(descriptor_set_copy(&copy, &set));
    EXPECT_EQ(copy.size, 0);
}

TEST_F(DescriptorSets, AreLaidOutAsTheSystemsOwn)
{
    fd_set system;
    FD_ZERO(&system);
    for (const int fd : {0, 1, 63, 64, 1023}) {
        FD_SET(fd, &system);
        descriptor_set_add(&set, fd);
    }
    const size_t size = static_cast<size_t>(set.word_count) * sizeof *set.words;
    ASSERT_EQ(size, sizeof system);
    EXPECT_EQ(hex(set.words, size), hex(&system, size));
}

TEST_F(DescriptorSets, KeepOnlyReadableMembers)
{
    const ConnectedPair quiet = local_pair();
    const ConnectedPair talking = local_pair();
    descriptor_set_add(&set, quiet.near.get());
    descriptor_set_add(&set, talking.near.get());
    send_bytes(talking.far.get(), bytes("01"));
    EXPECT_EQ(descriptor_set_select(&set, PATIENTLY), 1);
    EXPECT_EQ(members(), Members({talking.near.get()}));
}

TEST_F(DescriptorSets, KeepNobodyWhenTheTimeIsOver)
{
    const ConnectedPair quiet = local_pair();
    descriptor_set_add(&set, quiet.near.get());
    EXPECT_EQ(descriptor_set_select(&set, AT_ONCE), 0);
    EXPECT_EQ(members(), Members());
}

TEST_F(DescriptorSets, SayWhyTheyCannotWait)
{
    const int number = local_pair().near.get(); /* closed by now */
    descriptor_set_add(&set, number);
    errno = 0;
    EXPECT_EQ(descriptor_set_select(&set, AT_ONCE), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(DescriptorSets, WaitAlsoWithoutMembers)
{
    EXPECT_EQ(descriptor_set_select(&set, AT_ONCE), 0);
}

TEST_F(DescriptorSets, HaveRoomForDescriptorsThatTheSystemsOwnHasNot)
{
    if (EMULATED) {
        GTEST_SKIP() << "the emulator's own select ends at 1,024 descriptors";
    }
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit former = limit;
    if (limit.rlim_max < 3000) {
        GTEST_SKIP() << "the system does not allow 3000 descriptors";
    }
    limit.rlim_cur = 3000;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const ConnectedPair ends = local_pair();
    {
        const Descriptor high(fcntl(ends.near.get(), F_DUPFD_CLOEXEC, 2500));
        ASSERT_GE(high.get(), 2500);
        send_bytes(ends.far.get(), bytes("01"));
        descriptor_set_add(&set, high.get());
        EXPECT_EQ(descriptor_set_select(&set, PATIENTLY), 1);
        EXPECT_EQ(members(), Members({high.get()}));
    }
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
}
