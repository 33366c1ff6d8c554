/* SPDX-License-Identifier: MIT */
/* The idle check for the server thread. */
#pragma once

#include "tvlink/heartbeat.h"

/* check_ctrlpoint_timeout; true when it dropped a connection. */
bool heartbeat_drop_idle(void);
