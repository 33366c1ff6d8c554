#include "core/guard.h"

#include <pthread.h>

namespace
{

pthread_mutex_t guard_lock = PTHREAD_MUTEX_INITIALIZER;
IppGuard guard = {};

} // namespace

int ipp_set_guard(const IppGuard *wanted)
{
    const IppGuard plain = {};
    if (wanted == nullptr) {
        wanted = &plain;
    }
    if (wanted->on_bad_tag != IPP_BAD_TAG_END && wanted->on_bad_tag != IPP_BAD_TAG_REFUSE) {
        return -1;
    }
    pthread_mutex_lock(&guard_lock);
    guard = *wanted;
    pthread_mutex_unlock(&guard_lock);
    return 0;
}

IppGuard guard_current()
{
    pthread_mutex_lock(&guard_lock);
    const IppGuard copy = guard;
    pthread_mutex_unlock(&guard_lock);
    return copy;
}

bool guard_admits(uint32_t peer_addr)
{
    const IppGuard now = guard_current();
    return now.admit == nullptr || now.admit(peer_addr, now.admit_context) != 0;
}
