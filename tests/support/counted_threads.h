/* SPDX-License-Identifier: MIT */
/* Waiting for threads that nobody joins. */
#pragma once

#include "support/process_state.h"
#include "support/wait_until.h"

/* Remembers how many threads there were when it began. */
class CountedThreads
{
public:
    /* A thread that has been joined is still listed for a moment: the number must have settled. */
    CountedThreads() : before_(thread_count())
    {
        int same = 0;
        wait_until([&] {
            const size_t now = thread_count();
            same = now == before_ ? same + 1 : 0;
            before_ = now;
            return same == 10;
        });
    }

    bool are_as_before(size_t more = 0) const
    {
        return wait_until([&] { return thread_count() <= before_ + more; });
    }

private:
    size_t before_;
};
