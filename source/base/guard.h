/* SPDX-License-Identifier: MIT */
/* The limits that the host has set; 0 where it has set none. */
#pragma once

#include "tvlink.h"

/* Each value is read atomically, independently of the others. Any thread. */
uint32_t guard_max_frame_length(void);
uint32_t guard_max_ctrlpoints(void);
uint32_t guard_send_stall_ms(void);
uint32_t guard_bulk_accept_ms(void);
uint32_t guard_max_captures(void);
uint32_t guard_bind_wait_ms(void);
uint32_t guard_max_search_answers(void);
uint32_t guard_send_backlog_bytes(void);
uint32_t guard_slot_warn_ms(void);

/* True when a wrong value tag ends the process. */
bool guard_ends_on_bad_tag(void);

/* True when this peer (network byte order) may connect and have its searches answered. Calls the
 * host's `admit` with no lock held. */
bool guard_admits(uint32_t peer_addr);
