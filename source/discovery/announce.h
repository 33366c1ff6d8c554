/* SPDX-License-Identifier: MIT */
/* Announcements. */
#pragma once

#include "tvlink/announce.h"

/* The body of the announcing thread, for run_thread_start(). */
void *announcing_thread(void *run);
