/* SPDX-License-Identifier: MIT */
/* Membership of the search group. */
#pragma once

#include "tvlink/membership.h"

/* The body of the group-membership thread, for run_thread_start(). */
void *membership_thread(void *run);
