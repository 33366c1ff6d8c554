/* SPDX-License-Identifier: MIT */
#include "tvlink/dump.h"

#include "base/log.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

static const size_t ITEM_LENGTH = 5; /* "0x%02x " */

/* Null when memory is out or the size of the text overflows. */
static char *format_dump(const uint8_t *bytes, size_t length)
{
    if (length > (SIZE_MAX - 1) / ITEM_LENGTH) {
        return nullptr;
    }
    char *text = static_cast<char *>(malloc(length * ITEM_LENGTH + 1));
    if (text != nullptr) {
        text[0] = '\0';
        for (size_t i = 0; i < length; i++) {
            snprintf(text + i * ITEM_LENGTH, ITEM_LENGTH + 1, "0x%02x ", bytes[i]);
        }
    }
    return text;
}

void LOGBuffer(const void *buffer, int length, const char *name)
{
    if (!log_dumps_wanted() || buffer == nullptr || length < 0) {
        return;
    }
    char *text = format_dump(static_cast<const uint8_t *>(buffer), static_cast<size_t>(length));
    if (text != nullptr) {
        log_out("%s: %s\n", name, text);
        free(text);
    }
}
