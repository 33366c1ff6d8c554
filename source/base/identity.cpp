#include "base/identity.h"

#include "base/lock.h"
#include "tvlink.h"

#include <string.h>

char gTvName[IDENTITY_SIZE] = {};
char gTvSN[IDENTITY_SIZE] = {};

static const size_t UTF8_MAX = 4; /* bytes of a character */

static Lock identity_lock;

/* The length of the text, or of as much of it as fits and ends where a UTF-8 character does. */
static size_t kept_length(const char *text)
{
    const size_t length = strnlen(text, IDENTITY_SIZE);
    if (length < IDENTITY_SIZE) {
        return length;
    }
    size_t end = IDENTITY_SIZE - 1;
    while (end > IDENTITY_SIZE - UTF8_MAX && (text[end] & 0xC0) == 0x80) {
        end--;
    }
    const bool starts_character = (text[end] & 0xC0) == 0xC0;
    return starts_character ? end : IDENTITY_SIZE - 1;
}

static void write_text(char *buffer, const char *text, const char *fallback) NEEDS(identity_lock)
{
    const char *from = text != nullptr ? text : fallback;
    const size_t length = kept_length(from);
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
