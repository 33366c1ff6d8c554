/* SPDX-License-Identifier: MIT */
/* What is counted for ipp_stats() and told to the host's observer, where it happens.
 *
 * The observer is never called with a lock of the library held: notices wait with other calls of
 * the host (base/held_calls.h). None changes errno. Peers are in network byte order. */
#pragma once

#include "tvlink/observer.h"

/* True when there is an observer: for what is worth its time for an observer only. */
bool notices_are_wanted(void);

void notice_search_answered(uint32_t peer_addr);
void notice_search_refused(uint32_t peer_addr, int reason);

void notice_connected(uint32_t peer_addr);
void notice_connection_refused(uint32_t peer_addr, int reason);
void notice_gone(uint32_t peer_addr, int reason);

void notice_request_arrived(const IppRequest &request);
void notice_slot_is_slow(const IppRequest &request);

/* By its reason it was carried out, or refused. */
void notice_request_ended(const IppRequest &request);

/* A frame that is no request. */
void notice_bad_frame(uint32_t peer_addr, uint32_t bytes, int reason);

void notice_event_sent(uint16_t code, uint32_t reached, uint32_t failed);

void notice_capture_begun(uint32_t peer_addr, uint16_t port, uint32_t bytes);
void notice_capture_ended(uint32_t peer_addr, int reason, uint32_t bytes);

void notice_push_begun(uint32_t peer_addr, uint32_t bytes);
void notice_push_ended(uint32_t peer_addr, int reason);
