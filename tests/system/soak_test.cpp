/* SPDX-License-Identifier: MIT */
/* Many connections, and many starts, leave everything as it was: descriptors, threads, memory.
 *
 * The normal run makes a few hundred connections. With TVLINK_SOAK=long in the environment it is
 * 10,000 connections and 200 starts, in some seconds; `scripts/test --long` runs that. */
#include "support/long_form.h"
#include "support/phone.h"
#include "support/process_state.h"
#include "support/recording_host.h"
#include "support/running_service.h"
#include "support/service_facts.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/workers.h"

#include <gtest/gtest.h>

#include <cinttypes>

#include <malloc.h>

extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace
{

/* Blocks that threads keep for the next request of their size come and go. The smallest loss in
 * each of 500 connections is more. */
const size_t MEMORY_NOISE = 12 * 1024;

size_t allocated_bytes()
{
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

struct Holdings {
    std::set<int> descriptors;
    size_t threads;
    size_t memory;
};

Holdings holdings()
{
    return {open_descriptors(), thread_count(), allocated_bytes()};
}

Bytes volume_request()
{
    return wire_frame(0x07, bytes("0F 01 02 05"));
}

void ask_once(Phone *phone)
{
    phone->send(volume_request());
    ASSERT_EQ(hex(phone->read_frame()), hex(wire_frame(0x08, bytes("0F 01 00"))));
}

/* One connection: a request, its reply, and the end in one of three ways. */
void connect_once(int number)
{
    Phone phone;
    ASSERT_NO_FATAL_FAILURE(ask_once(&phone));
    switch (number % 3) {
    case 0:
        phone.hang_up();
        break;
    case 1:
        phone.reset();
        break;
    default:
        phone.send(volume_request()); /* nobody waits for this reply */
        phone.hang_up();
        break;
    }
}

/* Beside a phone that has had its reply: all requests before its own are done then, and hold no
 * connection open any more. */
Holdings holdings_beside_a_phone()
{
    Phone phone;
    ask_once(&phone);
    return holdings();
}

void expect_as_before(const Holdings &before, Holdings (*measure)(), const char *what, int cycles)
{
    EXPECT_TRUE(
        wait_until([&] { return thread_count() <= before.threads; }, LONGEST_PAUSE + PATIENCE))
        << thread_count() << " threads, " << before.threads << " before";
    const Holdings after = measure();
    EXPECT_EQ(after.descriptors.size(), before.descriptors.size());
    EXPECT_LE(after.memory, before.memory + MEMORY_NOISE);
    std::printf("%d %s: %zu -> %zu descriptors, %zu -> %zu threads, %zu -> %zu bytes\n", cycles,
                what, before.descriptors.size(), after.descriptors.size(), before.threads,
                after.threads, before.memory, after.memory);
}

void connect_often(int times)
{
    for (int i = 0; i < times; i++) {
        ASSERT_NO_FATAL_FAILURE(connect_once(i));
    }
    ASSERT_TRUE(wait_for_connected(0));
}

void start_and_stop(int times)
{
    for (int i = 0; i < times; i++) {
        const RunningService service;
        ASSERT_NO_FATAL_FAILURE(connect_once(i));
        ASSERT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0);
        Phone last; /* no request that came before holds its connection any more */
        ASSERT_NO_FATAL_FAILURE(ask_once(&last));
    }
}

class Soak : public testing::Test
{
protected:
    void SetUp() override
    {
        mallopt(M_ARENA_MAX, 1); /* not one for each of the threads that happen to overlap */
        ipp_set_log_sink(ignore_line, nullptr);
        table.set_tv_volume = [](int32_t) { return 0; };
        register_tv_method(&table);
        const bool workers_run = !pthread_equal(devCallBackTid, pthread_t{});
        threads_alone = thread_count() + (workers_run ? 0 : 2);
    }

    void TearDown() override
    {
        expect_workers_alone();
        register_tv_method(nullptr);
        ipp_set_log_sink(nullptr, nullptr);
    }

    /* Of the service's threads only the workers are left. */
    void expect_workers_alone() const
    {
        EXPECT_TRUE(
            wait_until([&] { return thread_count() <= threads_alone; }, LONGEST_PAUSE + PATIENCE));
    }

    TvMethodTable table = {};
    size_t threads_alone = 0;
};

TEST_F(Soak, ConnectionsLeaveEverythingAsItWas)
{
    const int cycles = in_long_form() ? 10000 : 500;
    const RunningService service;
    connect_often(100); /* what is made once and kept */
    const Holdings before = holdings_beside_a_phone();
    connect_often(cycles);
    expect_as_before(before, holdings_beside_a_phone, "connections", cycles);
}

TEST_F(Soak, StartsAndStopsLeaveEverythingAsItWas)
{
    const int cycles = in_long_form() ? 200 : 5;
    start_and_stop(3);
    expect_workers_alone();
    const Holdings before = holdings();
    start_and_stop(cycles);
    expect_as_before(before, holdings, "starts and stops", cycles);
}

} // namespace
