#include "base/identity.h"

#include "tvlink.h"

#include <pthread.h>
#include <string.h>

char gTvName[IDENTITY_SIZE] = {};
char gTvSN[IDENTITY_SIZE] = {};

static pthread_mutex_t identity_lock = PTHREAD_MUTEX_INITIALIZER;

static void set_text(char *buffer, const char *text, const char *fallback)
{
    pthread_mutex_lock(&identity_lock);
    const char *from = text != nullptr ? text : fallback;
    const size_t length = strnlen(from, IDENTITY_SIZE - 1);
    memmove(buffer, from, length); /* the text may be the buffer itself */
    if (text != nullptr) {
        memset(buffer + length, 0, IDENTITY_SIZE - length);
    }
    pthread_mutex_unlock(&identity_lock);
}

static void copy_text(char *to, const char *buffer)
{
    pthread_mutex_lock(&identity_lock);
    memcpy(to, buffer, IDENTITY_SIZE);
    pthread_mutex_unlock(&identity_lock);
    to[IDENTITY_SIZE - 1] = '\0';
}

void identity_set_serial(const char *serial)
{
    set_text(gTvSN, serial, IPP_DEFAULT_SERIAL);
}

void identity_set_name(const char *name)
{
    set_text(gTvName, name, IPP_DEFAULT_NAME);
}

void identity_copy_serial(char to[IDENTITY_SIZE])
{
    copy_text(to, gTvSN);
}

void identity_copy_name(char to[IDENTITY_SIZE])
{
    copy_text(to, gTvName);
}
