/* SPDX-License-Identifier: MIT */
/* Start and end of the discovery thread. */
#pragma once

#include "tvlink/discovery.h"

/* Joins the discovery thread, if one is running. */
void discovery_join(void);
