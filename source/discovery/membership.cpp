/* SPDX-License-Identifier: MIT */
#include "discovery/membership.h"

#include "base/flags.h"
#include "base/log.h"
#include "discovery/discovery_socket.h"
#include "discovery/run_thread.h"

#include <errno.h>
#include <unistd.h>

static const char *const SEARCH_GROUP = "239.200.201.202";
static const useconds_t RETRY_PAUSE_US = 1000000;

static void join_in_run(uint32_t run)
{
    errno = 0;
    /* The television may be started before its network is up. */
    while (flags_run_is_current(run) && !discovery_join_group(SEARCH_GROUP, run)) {
        usleep(RETRY_PAUSE_US);
    }
    log_out("%m IP_ADD_MEMBERSHIP g_thread_run %d  \n", flags_thread_run());
}

void *membership_thread(void *run)
{
    join_in_run(run_thread_number(run));
    return nullptr;
}

void *udp_addgroupthread(void *)
{
    join_in_run(flags_run_number());
    return nullptr;
}
