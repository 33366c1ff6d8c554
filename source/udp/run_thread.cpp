#include "udp/run_thread.h"

#include "core/flags.h"

int run_thread_start(pthread_t *thread, void *(*body)(void *), uint32_t run)
{
    pthread_attr_t detached;
    if (pthread_attr_init(&detached) != 0) {
        return -1;
    }
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    const int result =
        pthread_create(thread, &detached, body, reinterpret_cast<void *>(uintptr_t{run}));
    pthread_attr_destroy(&detached);
    return result;
}

uint32_t run_thread_number(void *argument)
{
    return argument == nullptr ? flags_run_number()
                               : static_cast<uint32_t>(reinterpret_cast<uintptr_t>(argument));
}
