/* SPDX-License-Identifier: MIT */
/* Dumps of buffers, for debugging. */
#ifndef TVLINK_DUMP_H
#define TVLINK_DUMP_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* Does nothing unless the host has asked for dumps (ipp_set_log_dumps); then one diagnostic line:
 * the caller's name and each byte as "0x%02x ". Borrows buffer and name. Any thread. */
TVLINK_API void LOGBuffer(const void *buffer, int length, const char *name);

TVLINK_END

#endif
