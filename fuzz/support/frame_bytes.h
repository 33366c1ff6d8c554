/* SPDX-License-Identifier: MIT */
/* Frames and their parts as vectors of bytes. */
#pragma once

#include "controlpoint.h"

#include <cstddef>
#include <cstdint>
#include <vector>

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(CpBytes bytes);

/* Copies the content of the buffer and frees it. */
Bytes take_buffer(CpBuffer *buffer);

Bytes build_frame(uint8_t type, const Bytes &payload);

void append(Bytes *to, const Bytes &bytes);

/* The length that the first seven bytes of a stream announce. */
uint32_t load_length(const Bytes &stream);
