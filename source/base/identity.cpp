/* SPDX-License-Identifier: MIT */
#include "base/identity.h"

#include "base/lock.h"
#include "base/text_cut.h"
#include "tvlink.h"

#include <string.h>

char gTvName[IDENTITY_SIZE] = {};
char gTvSN[IDENTITY_SIZE] = {};

static Lock identity_lock;

static void write_text(char *buffer, const char *text, const char *fallback) NEEDS(identity_lock)
{
    const char *from = text != nullptr ? text : fallback;
    const size_t length = text_cut_length(from, IDENTITY_SIZE - 1);
    memmove(buffer, from, length); /* the text may be the buffer itself */
    if (text != nullptr) {
        memset(buffer + length, 0, IDENTITY_SIZE - length);
    }
}

static void read_text(char *to, const char *buffer) NEEDS(identity_lock)
{
    memcpy(to, buffer, IDENTITY_SIZE);
    to[IDENTITY_SIZE - 1] = '\0';
}

void identity_set_serial(const char *serial)
{
    lock_take(&identity_lock);
    write_text(gTvSN, serial, IPP_DEFAULT_SERIAL);
    lock_release(&identity_lock);
}

void identity_set_name(const char *name)
{
    lock_take(&identity_lock);
    write_text(gTvName, name, IPP_DEFAULT_NAME);
    lock_release(&identity_lock);
}

void identity_copy_serial(char to[IDENTITY_SIZE])
{
    lock_take(&identity_lock);
    read_text(to, gTvSN);
    lock_release(&identity_lock);
}

void identity_copy_name(char to[IDENTITY_SIZE])
{
    lock_take(&identity_lock);
    read_text(to, gTvName);
    lock_release(&identity_lock);
}
