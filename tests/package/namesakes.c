/* SPDX-License-Identifier: MIT */
/* A host that has functions of its own with names that the library uses inside. */
#include <stdio.h>

#include <tvlink.h>

static int calls = 0;

int enqueue(int number)
{
    calls += number;
    return calls;
}

void list_init(void)
{
    calls++;
}

int tcp_sendback(void)
{
    return 7;
}

static int change_volume(int32_t step)
{
    return step > 0 ? 0 : -1;
}

int main(void)
{
    static TvMethodTable table;
    static const IppGuard guard = IPP_GUARD_RECOMMENDED;
    table.set_tv_volume = change_volume;
    list_init();
    if (register_tv_method(&table) != &table || ipp_set_guard(&guard) != 0 || enqueue(1) != 2) {
        return 1;
    }
    ipp_report_dev_event(1, 2, "text", NULL, 0);
    if (calls != 2) {
        fprintf(stderr, "the library calls the host's functions\n");
        return 1;
    }
    return tcp_sendback() == 7 ? 0 : 1;
}
