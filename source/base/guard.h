/* The bounds that the host has set; 0 where it has set none. */
#pragma once

#include "tvlink.h"

/* Each is read by itself, at any time, on any thread. */
uint32_t guard_max_frame_length(void);
uint32_t guard_max_ctrlpoints(void);
uint32_t guard_send_stall_ms(void);
uint32_t guard_bulk_accept_ms(void);
uint32_t guard_max_captures(void);
uint32_t guard_bind_wait_ms(void);

/* Shall a wrong value tag end the process? */
bool guard_ends_on_bad_tag(void);

/* May this peer (network byte order) connect, and is its search answered? Asks the host with no
 * lock held. */
bool guard_admits(uint32_t peer_addr);
