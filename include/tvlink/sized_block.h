/* SPDX-License-Identifier: MIT */
/* Kept for hosts that include it under this name. */
#ifndef TVLINK_SIZED_BLOCK_H
#define TVLINK_SIZED_BLOCK_H

#include "tvlink/host/sized_block.h"

#endif
