/* SPDX-License-Identifier: MIT */
#include "base/guard.h"

#include "tvlink/registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <thread>
#include <vector>

#include <arpa/inet.h>

namespace
{

struct Asked {
    uint32_t peer_addr;
    int answer;
    int times;
};

int answer_and_note(uint32_t peer_addr, void *context)
{
    Asked *asked = static_cast<Asked *>(context);
    asked->peer_addr = peer_addr;
    asked->times++;
    return asked->answer;
}

IppGuard guard_with(int (*admit)(uint32_t, void *), void *context)
{
    IppGuard guard = {};
    guard.admit = admit;
    guard.admit_context = context;
    return guard;
}

/* The numbers as the library reads them. */
struct Numbers {
    bool ends_on_bad_tag = guard_ends_on_bad_tag();
    uint32_t max_frame_length = guard_max_frame_length();
    uint32_t max_ctrlpoints = guard_max_ctrlpoints();
    uint32_t send_stall_ms = guard_send_stall_ms();
    uint32_t bulk_accept_ms = guard_bulk_accept_ms();
    uint32_t max_captures = guard_max_captures();
    uint32_t bind_wait_ms = guard_bind_wait_ms();
    uint32_t max_search_answers = guard_max_search_answers();
    uint32_t send_backlog_bytes = guard_send_backlog_bytes();
    uint32_t slot_warn_ms = guard_slot_warn_ms();
};

std::string text(const Numbers &numbers)
{
    return std::string(numbers.ends_on_bad_tag ? "end" : "refuse") + " " +
           std::to_string(numbers.max_frame_length) + " " + std::to_string(numbers.max_ctrlpoints) +
           " " + std::to_string(numbers.send_stall_ms) + " " +
           std::to_string(numbers.bulk_accept_ms) + " " + std::to_string(numbers.max_captures) +
           " " + std::to_string(numbers.bind_wait_ms) + " " +
           std::to_string(numbers.max_search_answers) + " " +
           std::to_string(numbers.send_backlog_bytes) + " " + std::to_string(numbers.slot_warn_ms);
}

std::string now()
{
    return text(Numbers());
}

const char *const PLAIN = "end 0 0 0 0 0 0 0 0 0";

/* Before main(): no host has set anything. */
const Numbers initial_guard;

class Guard : public testing::Test
{
protected:
    void TearDown() override
    {
        ipp_set_guard(nullptr);
    }
};

TEST_F(Guard, BoundsNothingAtFirst)
{
    EXPECT_EQ(text(initial_guard), PLAIN);
    EXPECT_EQ(IPP_BAD_TAG_END, 0) << "a zeroed record is not the plain service";
}

TEST_F(Guard, IsCopiedFromTheHostsRecord)
{
    IppGuard guard = {IPP_BAD_TAG_REFUSE, 1, 2, 3, 4, 5, 6, nullptr, nullptr, 7, 8, 9};
    EXPECT_EQ(ipp_set_guard(&guard), 0);
    guard = {};
    EXPECT_EQ(now(), "refuse 1 2 3 4 5 6 7 8 9");
    const IppGuard most = {IPP_BAD_TAG_END, UINT32_MAX, UINT32_MAX, UINT32_MAX,
                           UINT32_MAX,      UINT32_MAX, UINT32_MAX, nullptr,
                           nullptr,         UINT32_MAX, UINT32_MAX, UINT32_MAX};
    EXPECT_EQ(ipp_set_guard(&most), 0);
    EXPECT_EQ(now(),
              "end 4294967295 4294967295 4294967295 4294967295 4294967295 4294967295 4294967295 "
              "4294967295 4294967295");
}

/* Beyond the size it must be zero, as with a host of a newer version that asks for nothing new. */
TEST_F(Guard, IsTakenInAnySize)
{
    struct Newer {
        IppGuard known;
        size_t unknown;
    } newer = {{IPP_BAD_TAG_REFUSE, 1, 2, 3, 4, 5, 6, nullptr, nullptr, 7, 8, 9}, 0};
    EXPECT_EQ(ipp_set_guard_sized(&newer.known, sizeof newer), 0);
    EXPECT_EQ(now(), "refuse 1 2 3 4 5 6 7 8 9");
    newer.unknown = 1;
    newer.known.max_frame_length = 100;
    EXPECT_EQ(ipp_set_guard_sized(&newer.known, sizeof newer), -1);
    EXPECT_EQ(now(), "refuse 1 2 3 4 5 6 7 8 9");
    EXPECT_EQ(ipp_set_guard_sized(&newer.known, offsetof(IppGuard, max_captures)), 0);
    EXPECT_EQ(now(), "refuse 100 2 3 4 0 0 0 0 0");
    EXPECT_EQ(ipp_set_guard_sized(nullptr, sizeof newer), 0);
    EXPECT_EQ(now(), PLAIN);
}

/* A host that was compiled before the record could tell its size knows it up to here. */
TEST_F(Guard, IsTakenFromHostsThatDoNotTellItsSize)
{
    const IppGuard guard = {IPP_BAD_TAG_REFUSE, 1, 2, 3, 4, 5, 6, nullptr, nullptr, 7, 8, 9};
    EXPECT_EQ((ipp_set_guard)(&guard), 0);
    EXPECT_EQ(now(), "refuse 1 2 3 4 5 6 7 8 0");
}

/* An initialiser that names fewer fields means what it meant before the record grew. */
TEST_F(Guard, GrowsAtItsEnd)
{
    struct First {
        int on_bad_tag;
        uint32_t numbers[6];
        int (*admit)(uint32_t peer_addr, void *context);
        void *admit_context;
    };
    EXPECT_EQ(offsetof(IppGuard, max_frame_length), offsetof(First, numbers));
    EXPECT_EQ(offsetof(IppGuard, bind_wait_ms), offsetof(First, numbers) + 5 * sizeof(uint32_t));
    EXPECT_EQ(offsetof(IppGuard, admit), offsetof(First, admit));
    EXPECT_EQ(offsetof(IppGuard, admit_context), offsetof(First, admit_context));
    EXPECT_EQ(offsetof(IppGuard, max_search_answers), sizeof(First));
    EXPECT_EQ(offsetof(IppGuard, send_backlog_bytes), sizeof(First) + sizeof(uint32_t));
    EXPECT_EQ(offsetof(IppGuard, slot_warn_ms), sizeof(First) + 2 * sizeof(uint32_t));
}

TEST_F(Guard, HasRecommendedValues)
{
    const IppGuard guard = IPP_GUARD_RECOMMENDED;
    EXPECT_EQ(guard.admit, nullptr);
    EXPECT_EQ(guard.admit_context, nullptr);
    EXPECT_EQ(ipp_set_guard(&guard), 0);
    EXPECT_EQ(now(), "refuse 1048576 64 2000 15000 8 2000 32 8388608 1000");
    EXPECT_TRUE(guard_admits(1));
}

TEST_F(Guard, IsTakenAwayByNull)
{
    Asked asked = {0, 0, 0};
    IppGuard guard = IPP_GUARD_RECOMMENDED;
    guard.admit = answer_and_note;
    guard.admit_context = &asked;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    EXPECT_EQ(ipp_set_guard(nullptr), 0);
    EXPECT_EQ(now(), PLAIN);
    EXPECT_TRUE(guard_admits(1));
    EXPECT_EQ(asked.times, 0);
}

TEST_F(Guard, RefusesAnUnknownOnBadTagAndStaysAsItWas)
{
    Asked asked = {0, 1, 0};
    IppGuard before = IPP_GUARD_RECOMMENDED;
    before.admit = answer_and_note;
    before.admit_context = &asked;
    ASSERT_EQ(ipp_set_guard(&before), 0);
    for (const int wrong : {-1, 2, 3, INT_MAX, INT_MIN}) {
        IppGuard guard = {};
        guard.on_bad_tag = wrong;
        EXPECT_EQ(ipp_set_guard(&guard), -1) << wrong;
        EXPECT_EQ(now(), "refuse 1048576 64 2000 15000 8 2000 32 8388608 1000") << wrong;
    }
    EXPECT_TRUE(guard_admits(1));
    EXPECT_EQ(asked.times, 1);
}

TEST_F(Guard, AdmitsEverybodyUnlessTheHostDecides)
{
    EXPECT_TRUE(guard_admits(inet_addr("192.0.2.7")));
    EXPECT_TRUE(guard_admits(0));
}

TEST_F(Guard, AsksTheHostWithThePeersAddressAndItsContext)
{
    Asked asked = {0, 1, 0};
    const IppGuard guard = guard_with(answer_and_note, &asked);
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    EXPECT_TRUE(guard_admits(inet_addr("192.0.2.7")));
    EXPECT_EQ(asked.peer_addr, inet_addr("192.0.2.7"));
    asked.answer = 0;
    EXPECT_FALSE(guard_admits(inet_addr("192.0.2.8")));
    EXPECT_EQ(asked.peer_addr, inet_addr("192.0.2.8"));
    asked.answer = -1;
    EXPECT_TRUE(guard_admits(1)) << "every value but 0 admits";
    EXPECT_EQ(asked.times, 3);
}

int call_back_into_the_library(uint32_t, void *)
{
    EXPECT_EQ(now(), PLAIN);
    EXPECT_EQ(ipp_set_guard(nullptr), 0);
    EXPECT_TRUE(guard_admits(1)) << "it is asked by itself";
    EXPECT_EQ(pthread_mutex_trylock(&g_cp_list_mutex), 0);
    pthread_mutex_unlock(&g_cp_list_mutex);
    return 0;
}

TEST_F(Guard, AsksWithNoLockHeld)
{
    const IppGuard guard = guard_with(call_back_into_the_library, nullptr);
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    EXPECT_FALSE(guard_admits(1));
}

TEST_F(Guard, GivesEachCallbackItsOwnContextWhileItChanges)
{
    Asked yes = {0, 1, 0};
    Asked no = {0, 0, 0};
    const IppGuard guards[] = {guard_with(answer_and_note, &yes),
                               guard_with(
                                   [](uint32_t, void *context) -> int {
                                       return static_cast<Asked *>(context)->answer != 0 ? 1 : 0;
                                   },
                                   &no)};
    const IppGuard bounds = IPP_GUARD_RECOMMENDED;
    std::atomic<bool> done(false);
    std::thread writer([&] {
        for (size_t i = 0; i < 5000; i++) {
            ipp_set_guard(i % 3 == 2 ? &bounds : &guards[i % 3]);
        }
        done = true;
    });
    do {
        (void)guard_admits(7);
        (void)now();
        EXPECT_EQ(no.times, 0) << "a callback got the other one's context";
    } while (!done);
    writer.join();
}

} // namespace
