/* SPDX-License-Identifier: MIT */
/* Kept for hosts that include it under this name. */
#ifndef TVLINK_SOCKET_H
#define TVLINK_SOCKET_H

#include "tvlink/host/socket.h"

#endif
