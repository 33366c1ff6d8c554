/* SPDX-License-Identifier: MIT */
#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "tvlink/discovery.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include <netinet/in.h>

namespace
{

uint64_t delay_drawn_with(time_t seed)
{
    srand(static_cast<unsigned>(seed));
    return 100000 + static_cast<uint64_t>(rand() % 250000);
}

/* The delay before an answer when the clock says this. */
std::vector<uint64_t> delays_at(time_t now)
{
    const Replaced clock(system_time, [now](time_t *to) {
        if (to != nullptr) {
            *to = now;
        }
        errno = EOVERFLOW; /* as when there is no telling, and the result is -1 */
        return now;
    });
    const TakenSleeps sleeps;
    const CapturedLines lines;
    sockaddr_in from = {};
    from.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    response_cp_search(&from);
    return sleeps.all();
}

} // namespace

TEST(AnswerDelay, IsDrawnWithWhateverTheClockSays)
{
    const time_t last = std::numeric_limits<time_t>::max();
    const time_t first = std::numeric_limits<time_t>::min();
    for (const time_t now :
         {time_t{0}, time_t{-1}, time_t{0x7FFFFFFE}, time_t{0x7FFFFFFF},
          static_cast<time_t>(0x80000000U), static_cast<time_t>(0xFFFFFFFFU), first, last}) {
        const std::vector<uint64_t> delays = delays_at(now);
        EXPECT_EQ(delays, std::vector<uint64_t>{delay_drawn_with(now)}) << now;
        EXPECT_GE(delays.at(0), 100000u);
        EXPECT_LT(delays.at(0), 350000u);
    }
}
