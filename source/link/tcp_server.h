/* SPDX-License-Identifier: MIT */
#pragma once

#include "tvlink/tcp_server.h"

/* Joins the server thread, if one is running. */
void tcp_server_join(void);
