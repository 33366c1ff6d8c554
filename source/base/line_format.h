/* SPDX-License-Identifier: MIT */
/* The text of a diagnostic line. */
#pragma once

#include <stdarg.h>
#include <stddef.h>

/* vsnprintf, but that `values` may be used again; faster for %s, %d and %x without flags, width or
 * precision, which is what nearly all lines consist of. */
size_t line_format(char *to, size_t room, const char *format, va_list values)
    __attribute__((format(printf, 3, 0)));
