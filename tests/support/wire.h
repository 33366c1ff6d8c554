/* SPDX-License-Identifier: MIT */
/* Literal bytes for tests: written and compared as hex text. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

/* "34 12 08 02 00 00 00 'ab'": hex bytes, and characters between single quotes. A text that is
 * neither ends the test program. */
Bytes bytes(const std::string &text);

/* The same as text, "A5 A5 00", so that a failed comparison can be read. */
std::string hex(const void *data, size_t size);
std::string hex(const Bytes &data);

Bytes joined(const std::vector<Bytes> &parts);

/* A whole frame around the payload, checksum included. */
Bytes wire_frame(uint8_t type, const Bytes &payload);

/* A get request with this text, and the get reply with it, as hex text. */
Bytes text_request(const std::string &text);
std::string text_reply(const std::string &text);
