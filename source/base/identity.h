/* The television's name and serial number, changed and copied whole. */
#pragma once

#include "tvlink/identity.h"

/* Given texts replace the whole buffer, cut at 255 bytes; a null one writes the default's
 * characters over the buffer's start and leaves the rest. */
void identity_set_serial(const char *serial);
void identity_set_name(const char *name);

void identity_copy_serial(char to[IDENTITY_SIZE]);
void identity_copy_name(char to[IDENTITY_SIZE]);
