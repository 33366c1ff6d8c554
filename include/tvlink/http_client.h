/* SPDX-License-Identifier: MIT */
/* Kept for hosts that include it under this name. */
#ifndef TVLINK_HTTP_CLIENT_H
#define TVLINK_HTTP_CLIENT_H

#include "tvlink/host/http_client.h"

#endif
