/* SPDX-License-Identifier: MIT */
#include "base/line_format.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace
{

struct Line {
    char *to;
    size_t room; /* for characters; the terminator has room of its own */
    size_t length;
};

} // namespace

static void put(Line *line, const char *text, size_t length)
{
    if (line->length < line->room) {
        const size_t left = line->room - line->length;
        memcpy(line->to + line->length, text, length < left ? length : left);
    }
    line->length += length;
}

static void put_string(Line *line, const char *text)
{
    const char *shown = text == nullptr ? "(null)" : text;
    put(line, shown, strlen(shown));
}

static void put_number(Line *line, bool negative, uint32_t magnitude, uint32_t base)
{
    char digits[11];
    char *first = digits + sizeof digits;
    do {
        *--first = "0123456789abcdef"[magnitude % base];
        magnitude /= base;
    } while (magnitude != 0);
    if (negative) {
        *--first = '-';
    }
    put(line, first, static_cast<size_t>(digits + sizeof digits - first));
}

static void put_decimal(Line *line, int value)
{
    const uint32_t bits = static_cast<uint32_t>(value);
    put_number(line, value < 0, value < 0 ? 0 - bits : bits, 10);
}

/* False for another conversion. */
static bool put_value(Line *line, char conversion, va_list *values)
{
    switch (conversion) {
    case 's':
        put_string(line, va_arg(*values, const char *));
        return true;
    case 'd':
        put_decimal(line, va_arg(*values, int));
        return true;
    case 'x':
        put_number(line, false, va_arg(*values, unsigned), 16);
        return true;
    default:
        return false;
    }
}

/* False when there is a conversion that this does not know. */
static bool put_all(Line *line, const char *format, va_list *values)
{
    for (const char *at = format; *at != '\0';) {
        const char *end = strchrnul(at, '%');
        put(line, at, static_cast<size_t>(end - at));
        if (*end == '\0') {
            return true;
        }
        if (!put_value(line, end[1], values)) {
            return false;
        }
        at = end + 2;
    }
    return true;
}

__attribute__((format(printf, 3, 0))) static size_t
format_by_the_system(char *to, size_t room, const char *format, va_list values)
{
    va_list copy;
    va_copy(copy, values);
    const int length = vsnprintf(to, room, format, copy);
    va_end(copy);
    return length < 0 ? 0 : static_cast<size_t>(length);
}

size_t line_format(char *to, size_t room, const char *format, va_list values)
{
    va_list copy;
    va_copy(copy, values);
    Line line = {to, room == 0 ? 0 : room - 1, 0};
    const bool known = put_all(&line, format, &copy);
    va_end(copy);
    if (!known) {
        return format_by_the_system(to, room, format, values);
    }
    if (room > 0) {
        to[line.length < line.room ? line.length : line.room] = '\0';
    }
    return line.length;
}
