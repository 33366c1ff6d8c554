/* SPDX-License-Identifier: MIT */
/* The output of commands: text for people or JSON for programs. */
#ifndef TVLINK_CTL_OUTPUT_H
#define TVLINK_CTL_OUTPUT_H

#include "controlpoint.h"
#include "printable.h"
#include "settings.h"
#include "table.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace ctl
{

/* Named facts, in the order in which they are printed. */
using Fact = std::variant<std::string, int64_t, double, bool, std::vector<int64_t>>;
using Facts = std::vector<std::pair<std::string, Fact>>;

/* Adds a text from the network; one that is not UTF-8 a second time in hexadecimal, as NAME_hex. */
void add_text(Facts &facts, const std::string &name, CpBytes text);
void add_number(Facts &facts, const std::string &name, int64_t number);

/* One line per fact, or one JSON object. */
void print_facts(const Settings &settings, const Facts &facts);

/* The one line, or the facts as one JSON object. */
void print_line(const Settings &settings, const std::string &line, const Facts &facts);

/* The table, or "no THINGS" when it has no rows; or one JSON object with the count, and the entries
 * under the name of the things. */
void print_list(const Settings &settings, const Table &table, const std::string &things,
                const std::vector<Facts> &entries);

/* A JSON text from the television: lines or a table for people, one object with the value under
 * this name for programs. A text that is no JSON is printed as a fact. */
void print_json_text(const Settings &settings, const std::string &name, CpBytes text);

std::string text_of(CpBytes text);
CpBytes bytes_of(const std::string &text);

/* The text as it is shown on a terminal. */
using tools::printable;
std::string printable(CpBytes text);

/* "0x0112" */
std::string hex_code(uint16_t code);
std::string hex_byte(uint8_t byte);

/* Two digits a byte, with `separator` between the bytes. */
std::string hex(CpBytes bytes, const char *separator);

/* Sixteen bytes a line, with their offset and as characters. */
std::string hex_dump(CpBytes bytes);

} // namespace ctl

#endif
