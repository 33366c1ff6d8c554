/* SPDX-License-Identifier: MIT */
/* Requests in words, by the table of operations: which operation one reaches, what its bytes say,
 * and what is wrong with it. */
#ifndef TVLINK_SIM_REQUEST_WORDS_H
#define TVLINK_SIM_REQUEST_WORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tvlink/observer.h"

namespace sim
{

/* The body of a request's frame, type byte first; empty when it is unknown. */
using Body = std::vector<uint8_t>;

/* "0x05", "0x2000": as in the JSON of tvlink-ctl. */
std::string hex_byte(uint8_t byte);
std::string hex_code(uint16_t code);
/* "0x0C", "0x700A": as lines for people have them. */
std::string byte_words(uint8_t byte);
std::string code_words(uint16_t code);
/* "050120" */
std::string hex_digits(const uint8_t *bytes, size_t size);

/* "192.0.2.7" for an address in network byte order. */
std::string address_words(uint32_t address);

/* The result byte of a set reply, as a signed number. */
int result_of(const IppRequest &request);

/* The name of the operation that the request reaches; empty for none. */
std::string operation_name(const IppRequest &request, const Body &body);

/* "set 0x0101 set_tv_channel", "get 0x7777", "frame 0x33", "frame" */
std::string request_words(const IppRequest &request, const Body &body);

/* Why the request was refused: "first text has 300 bytes, 255 fit". */
std::string refusal_words(const IppRequest &request, const Body &body);

/* What became of the request: "answered, result 0", "no such operation, silence". */
std::string outcome_words(const IppRequest &request, const Body &body);

/* The request's arguments as far as they are there: "count 2, tag 0x06, key 139". */
std::string argument_words(const IppRequest &request, const Body &body);

/* frame_type, code, name and bytes, as far as they are known. */
nlohmann::json request_facts(const IppRequest &request, const Body &body);

} // namespace sim

#endif
