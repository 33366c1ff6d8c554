/* SPDX-License-Identifier: MIT */
#include "base/held_calls.h"

#include <errno.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace
{

struct Entry {
    HeldCall call;
    size_t size; /* of the data behind it */
};

/* The calls of one thread, one entry and its data after the other. */
struct HeldCalls {
    uint32_t depth;
    char *bytes;
    size_t used;
    size_t room;
    size_t data; /* of `used`, without the entries */
};

const size_t ROOM_AT_FIRST = 4096;

/* Data behind an entry, and the next entry, are aligned for any type. */
const size_t ALIGNMENT = alignof(max_align_t);

__thread HeldCalls held = {0, nullptr, 0, 0, 0};

} // namespace

static size_t aligned(size_t size)
{
    return (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

static bool make_room(size_t size)
{
    if (size <= held.room - held.used) {
        return true;
    }
    const size_t doubled = held.room == 0 ? ROOM_AT_FIRST : held.room * 2;
    const size_t wanted = doubled - held.used < size ? held.used + size : doubled;
    char *grown = static_cast<char *>(realloc(held.bytes, wanted));
    if (grown == nullptr) {
        return false;
    }
    held.bytes = grown;
    held.room = wanted;
    return true;
}

bool calls_are_held()
{
    return held.depth > 0;
}

bool calls_keep(HeldCall call, const void *data, size_t size, size_t most)
{
    const size_t entry_size = aligned(sizeof(Entry));
    if (size > most || held.data > most - size || !make_room(entry_size + aligned(size))) {
        return false;
    }
    const Entry entry = {call, size};
    memcpy(held.bytes + held.used, &entry, sizeof entry);
    memcpy(held.bytes + held.used + entry_size, data, size);
    held.used += entry_size + aligned(size);
    held.data += size;
    return true;
}

void calls_hold()
{
    held.depth++;
}

static void make_calls(const char *bytes, size_t used)
{
    for (size_t at = 0; at < used;) {
        Entry entry;
        memcpy(&entry, bytes + at, sizeof entry);
        at += aligned(sizeof entry);
        entry.call(bytes + at);
        at += aligned(entry.size);
    }
}

void calls_release()
{
    if (--held.depth > 0 || held.bytes == nullptr) {
        return;
    }
    const int saved = errno;
    const HeldCalls kept = held;
    held = {0, nullptr, 0, 0, 0}; /* what is called may call the library, which may keep more */
    make_calls(kept.bytes, kept.used);
    free(kept.bytes);
    errno = saved;
}
