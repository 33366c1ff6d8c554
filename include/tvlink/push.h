/* SPDX-License-Identifier: MIT */
/* Kept for hosts that include it under this name. */
#ifndef TVLINK_PUSH_H
#define TVLINK_PUSH_H

#include "tvlink/host/push.h"

#endif
