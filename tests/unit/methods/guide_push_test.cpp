/* SPDX-License-Identifier: MIT */
/* A guide for every phone, by one call of the host. */
#include "tvlink/host/lists.h"

#include "support/counted_threads.h"
#include "support/system_calls.h"
#include "support/wait_until.h"
#include "tvlink/lzw.h"
#include "unit/link/listed_connection.h"

#include <cerrno>
#include <cstdlib>

namespace
{

class GuidePush : public OpenRegistry
{
protected:
    ~GuidePush() override
    {
        EXPECT_TRUE(threads.are_as_before());
    }

    static IppList guide()
    {
        IppList list = IPP_LIST_EMPTY;
        const IppProgramme programme = {3, 1795292100, 6300, "Caf\xC3\xA9", "Film", "Two cups."};
        EXPECT_EQ(ipp_list_add_programme(&list, &programme), 1);
        return list;
    }

    /* The payload of a reply to 2001 with the list of guide(). */
    static Bytes reply()
    {
        IppList list = guide();
        void *plain = ipp_list_finish(&list);
        void *packed = lzw_encode(plain, 12);
        const uint32_t size = static_cast<const uint32_t *>(packed)[-1];
        const uint8_t *first = static_cast<const uint8_t *>(packed);
        const Bytes result = joined({bytes("01 01 20 A3"),
                                     {static_cast<uint8_t>(size + 2), 0, 0, 0, 1, 0},
                                     Bytes(first, first + size)});
        std::free(static_cast<uint32_t *>(plain) - 2);
        std::free(static_cast<uint32_t *>(packed) - 2);
        return result;
    }

    const CountedThreads threads;
};

TEST_F(GuidePush, ReachesEveryPhoneAsIfItHadAsked)
{
    const ListedConnection first;
    const ListedConnection second;
    IppList list = guide();
    EXPECT_EQ(ipp_push_guide(&list), 2);
    for (const ListedConnection *connection : {&first, &second}) {
        EXPECT_EQ(hex(read_frame(connection->phone.get())), hex(wire_frame(6, reply())));
    }
    EXPECT_EQ(list.entries, 0u);
}

TEST_F(GuidePush, OfNothingIsTheEmptyReply)
{
    const ListedConnection connection;
    IppList list = IPP_LIST_EMPTY;
    EXPECT_EQ(ipp_push_guide(&list), 1);
    EXPECT_EQ(hex(read_frame(connection.phone.get())),
              hex(wire_frame(6, bytes("01 01 20 A3 00 00 00 00"))));
}

TEST_F(GuidePush, ReachesNobodyWhenNobodyIsThere)
{
    IppList list = guide();
    EXPECT_EQ(ipp_push_guide(&list), 0);
    EXPECT_EQ(list.block, nullptr);
}

TEST_F(GuidePush, CountsThePushesThatWereStarted)
{
    const ListedConnection first;
    const ListedConnection second;
    IppList list = guide();
    {
        WatchedCall creation(system_pthread_create);
        creation.fail(EAGAIN);
        EXPECT_EQ(ipp_push_guide(&list), 1);
    }
    EXPECT_EQ(hex(read_frame(second.phone.get())), hex(wire_frame(6, reply())));
}

} // namespace
