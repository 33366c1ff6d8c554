/* SPDX-License-Identifier: MIT */
#include "base/flags.h"

uint8_t g_is_inited = 0;
uint8_t g_thread_run = 0;
uint16_t g_dev_type = 0;
int32_t gIsInited = 1;
pthread_mutex_t mouseLok = PTHREAD_MUTEX_INITIALIZER;

static uint32_t run_number = 0;
static uint32_t ended_run = UINT32_MAX; /* the latest that has ended; before the first stop none */

bool flags_inited()
{
    return __atomic_load_n(&g_is_inited, __ATOMIC_ACQUIRE) == 1;
}

void flags_set_inited(bool inited)
{
    __atomic_store_n(&g_is_inited, static_cast<uint8_t>(inited), __ATOMIC_RELEASE);
}

bool flags_running()
{
    return flags_thread_run() != 0;
}

int flags_thread_run()
{
    return __atomic_load_n(&g_thread_run, __ATOMIC_ACQUIRE);
}

void flags_stop_running()
{
    __atomic_store_n(&ended_run, flags_run_number(), __ATOMIC_RELEASE);
    __atomic_store_n(&g_thread_run, 0, __ATOMIC_RELEASE);
}

void flags_start_run()
{
    __atomic_add_fetch(&run_number, 1, __ATOMIC_ACQ_REL);
    __atomic_store_n(&g_thread_run, 1, __ATOMIC_RELEASE);
}

uint32_t flags_run_number()
{
    return __atomic_load_n(&run_number, __ATOMIC_ACQUIRE);
}

bool flags_run_is_current(uint32_t run)
{
    return flags_running() && flags_run_number() == run;
}

bool flags_run_has_ended(uint32_t run)
{
    return static_cast<int32_t>(__atomic_load_n(&ended_run, __ATOMIC_ACQUIRE) - run) >= 0;
}

uint16_t flags_device_type()
{
    return __atomic_load_n(&g_dev_type, __ATOMIC_RELAXED);
}

void flags_set_device_type(uint16_t type)
{
    __atomic_store_n(&g_dev_type, type, __ATOMIC_RELAXED);
}
