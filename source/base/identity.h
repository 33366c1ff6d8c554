/* SPDX-License-Identifier: MIT */
/* The television's name and serial number, changed and copied under a lock. */
#pragma once

#include "tvlink/identity.h"

/* A text replaces the whole buffer, cut at 255 bytes. Null writes the default's characters over the
 * start of the buffer and leaves the rest. */
void identity_set_serial(const char *serial);
void identity_set_name(const char *name);

void identity_copy_serial(char to[IDENTITY_SIZE]);
void identity_copy_name(char to[IDENTITY_SIZE]);
