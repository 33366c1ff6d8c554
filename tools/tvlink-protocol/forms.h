/* SPDX-License-Identifier: MIT */
/* The forms in which the list of operations is printed. */
#ifndef TVLINK_PROTOCOL_FORMS_H
#define TVLINK_PROTOCOL_FORMS_H

#include <nlohmann/json.hpp>
#include <string>

/* Everything that the list holds. */
nlohmann::ordered_json json_form();

/* The same as a Lua chunk that returns a table. */
std::string lua_form();

/* The tables of the page about the protocol, each between a line with its name and an end line. */
std::string markdown_form();

/* The enumerations of tvlink/conventions.h, each between a comment with its name and an end. */
std::string c_form();

/* A dictionary for fuzzers: each request up to its method code. */
std::string dictionary();

/* "02", "1A2B": upper-case hexadecimal digits. */
std::string hex_digits(unsigned value, int digits);

#endif
