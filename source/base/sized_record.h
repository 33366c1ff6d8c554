/* SPDX-License-Identifier: MIT */
/* Records of a host that was compiled with an older or a newer version of the headers: they may be
 * shorter or longer than the library's. */
#pragma once

#include <stddef.h>

/* Copies the host's record into the library's; what the host does not know is zero. False, and
 * nothing is copied, when the host has set something that the library does not know. */
bool sized_record_take(void *to, size_t to_size, const void *from, size_t from_size);

/* Copies the library's record into the host's; what the library does not know is zero. */
void sized_record_give(void *to, size_t to_size, const void *from, size_t from_size);
