/* SPDX-License-Identifier: MIT */
#include "base/sized_record.h"

#include <string.h>

static bool is_zero(const char *bytes, size_t size)
{
    size_t at = 0;
    while (at < size && bytes[at] == 0) {
        at++;
    }
    return at == size;
}

bool sized_record_take(void *to, size_t to_size, const void *from, size_t from_size)
{
    const char *bytes = static_cast<const char *>(from);
    if (from_size > to_size && !is_zero(bytes + to_size, from_size - to_size)) {
        return false;
    }
    sized_record_give(to, to_size, from, from_size);
    return true;
}

void sized_record_give(void *to, size_t to_size, const void *from, size_t from_size)
{
    const size_t known = to_size < from_size ? to_size : from_size;
    if (known > 0) {
        memcpy(to, from, known);
    }
    memset(static_cast<char *>(to) + known, 0, to_size - known);
}
