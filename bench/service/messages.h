/* SPDX-License-Identifier: MIT */
/* What phone and television send each other in the benches, as whole frames. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

Bytes key_request();
Bytes key_reply();

/* A text answer, and where its text begins. */
constexpr size_t LONG_TEXT_SIZE = 60000;
const std::string &long_text();
Bytes text_request();
Bytes text_reply();
size_t text_offset();

/* A list that the service compresses: a sized block with a list of channels, for the caller to
 * release. */
constexpr uint32_t LIST_SIZE = 16 << 20;
constexpr int LIST_BITS = 12;
constexpr uint16_t LIST_ENTRIES = 65535;
void *channel_list();
void release_block(void *block);
Bytes list_request();

constexpr int32_t EVENT_CODE = 0x7002;
constexpr uint32_t EVENT_VALUE = 26;
extern const char *const EVENT_TEXT;
Bytes event_payload();
Bytes event_frame();
