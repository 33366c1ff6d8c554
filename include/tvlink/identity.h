/* SPDX-License-Identifier: MIT */
/* The name and the serial number of the television. */
#ifndef TVLINK_IDENTITY_H
#define TVLINK_IDENTITY_H

#include "tvlink/api.h"

TVLINK_BEGIN

enum { IDENTITY_SIZE = 256 };

/* Terminated texts. The library changes and copies them under a lock of its own; a host that reads
 * them while another thread sets the name may see a partial change. */
TVLINK_API extern char gTvName[IDENTITY_SIZE];
TVLINK_API extern char gTvSN[IDENTITY_SIZE]; /* serial number */

TVLINK_END

#endif
