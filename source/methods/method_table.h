/* SPDX-License-Identifier: MIT */
/* The host's method table as handlers use it. */
#pragma once

#include "tvlink.h"
#include "wire/request_reader.h"

/* The registered table; null when there is none. */
const TvMethodTable *registered_methods(void);

/* The slots that a handler may call: the registered table's, or, when there is none or the request
 * was bad, those of a table in which every slot is null. */
const TvMethodTable *host_methods(const RequestReader *args);

/* The same for a handler that looks at no byte of its request. */
const TvMethodTable *host_methods(void);
