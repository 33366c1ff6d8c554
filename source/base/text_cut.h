/* SPDX-License-Identifier: MIT */
/* Texts in UTF-8 that may be too long for where they go. */
#pragma once

#include <stddef.h>
#include <string.h>

/* The length of the text, or of as much of it as has `most` bytes and ends where a character does.
 */
inline size_t text_cut_length(const char *text, size_t most)
{
    const size_t longest_character = 4;
    const size_t length = strnlen(text, most + 1);
    if (length <= most) {
        return length;
    }
    size_t end = most;
    while (end > 0 && end + longest_character > most + 1 && (text[end] & 0xC0) == 0x80) {
        end--;
    }
    const bool starts_character = (text[end] & 0xC0) == 0xC0;
    return starts_character ? end : most;
}
