/* SPDX-License-Identifier: MIT */
/* Numbers and values from the command line. Each function throws a usage Failure for a text that it
 * does not understand. */
#ifndef TVLINK_CTL_ARGUMENTS_H
#define TVLINK_CTL_ARGUMENTS_H

#include "controlpoint.h"

#include <string>
#include <vector>

namespace ctl
{

[[noreturn]] void misunderstood(const std::string &text, const std::string &hint);

/* A number from 0 to `max`, decimal or, behind 0x, hexadecimal. */
uint32_t parse_number(const std::string &text, uint32_t max);

uint16_t parse_code(const std::string &text);

/* "+3" or "-3"; the sign is mandatory, since a bare number looks like a channel's number. */
int32_t parse_step(const std::string &text);

/* A key's name or else its code. A single digit is the name of a digit key. */
uint32_t parse_key(const std::string &text);

int32_t parse_signed(const std::string &text);

/* A typed argument, and the bytes to which its value points. */
struct Argument {
    CpValue value;
    std::vector<uint8_t> bytes;
};

/* "u8:5" and the like; the hint of the Failure lists all forms. */
Argument parse_argument(const std::string &text);

/* The value as the builders take it. It points into the argument. */
CpValue value_of(const Argument &argument);

} // namespace ctl

#endif
