/* SPDX-License-Identifier: MIT */
#include "arguments.h"

#include "failure.h"
#include "key_names.h"
#include "numbers.h"

#include <cstdlib>

namespace ctl
{
namespace
{

constexpr char argument_forms[] = "an argument is one of u8:5 u16:7 port:8801 u32:0x10 "
                                  "i32:-3 f32:1.5 str:text blob:0a0b point:1,2,3 hex:aabb";

constexpr char decimal_digits[] = "0123456789";
constexpr char hexadecimal_digits[] = "0123456789abcdefABCDEF";

/* Whether the text looks like a number, however large. */
bool has_digits_only(const std::string &text)
{
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x';
    const char *digits = hexadecimal ? hexadecimal_digits : decimal_digits;
    return !text.empty() &&
           text.find_first_not_of(digits, hexadecimal ? 2 : 0) == std::string::npos;
}

std::vector<uint8_t> parse_hex(const std::string &text)
{
    std::vector<uint8_t> bytes;
    if (text.size() % 2 != 0 || text.find_first_not_of(hexadecimal_digits) != std::string::npos) {
        misunderstood(text, "bytes are written with two hexadecimal digits each, such as 0a1b");
    }
    for (size_t at = 0; at < text.size(); at += 2) {
        bytes.push_back(static_cast<uint8_t>(strtoul(text.substr(at, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

CpValue parse_float(const std::string &text)
{
    char *end = nullptr;
    const float number = strtof(text.c_str(), &end);
    if (text.empty() || *end != '\0') {
        misunderstood(text, "a number such as 1.5 is needed here");
    }
    return cp_float(number);
}

CpValue parse_point(const std::string &text)
{
    uint16_t coordinates[3] = {};
    size_t at = 0;
    for (size_t i = 0; i < 3; i++) {
        const size_t comma = text.find(',', at);
        if ((comma == std::string::npos) != (i == 2)) {
            misunderstood(text, "a point is three numbers, such as 1,2,3");
        }
        coordinates[i] =
            static_cast<uint16_t>(parse_number(text.substr(at, comma - at), UINT16_MAX));
        at = comma + 1;
    }
    return cp_point(coordinates[0], coordinates[1], coordinates[2]);
}

Argument number_argument(uint8_t tag, const std::string &text, uint32_t max)
{
    return {cp_number(tag, parse_number(text, max)), {}};
}

Argument bytes_argument(uint8_t tag, std::vector<uint8_t> bytes)
{
    return {cp_number(tag, 0), std::move(bytes)};
}

struct ArgumentForm {
    const char *kind;
    Argument (*parse)(const std::string &text);
};

constexpr ArgumentForm forms[] = {
    {"u8", [](const std::string &text) { return number_argument(CP_TAG_U8, text, UINT8_MAX); }},
    {"u16", [](const std::string &text) { return number_argument(CP_TAG_U16, text, UINT16_MAX); }},
    {"port",
     [](const std::string &text) { return number_argument(CP_TAG_PORT, text, UINT16_MAX); }},
    {"u32", [](const std::string &text) { return number_argument(CP_TAG_U32, text, UINT32_MAX); }},
    {"i32",
     [](const std::string &text) {
         return Argument{cp_number(CP_TAG_I32, static_cast<uint32_t>(parse_signed(text))), {}};
     }},
    {"f32",
     [](const std::string &text) {
         return Argument{parse_float(text), {}};
     }},
    {"point",
     [](const std::string &text) {
         return Argument{parse_point(text), {}};
     }},
    {"str",
     [](const std::string &text) {
         return bytes_argument(CP_TAG_STRING, {text.begin(), text.end()});
     }},
    {"blob", [](const std::string &text) { return bytes_argument(CP_TAG_BLOB, parse_hex(text)); }},
    {"hex", [](const std::string &text) { return bytes_argument(CP_TAG_RAW, parse_hex(text)); }},
};

} // namespace

void misunderstood(const std::string &text, const std::string &hint)
{
    throw Failure(STATUS_USAGE, "cannot make sense of \"" + text + "\"", hint);
}

uint32_t parse_number(const std::string &text, uint32_t max)
{
    const std::optional<uint32_t> number = tools::decimal_or_hexadecimal(text, max);
    if (!number) {
        misunderstood(text, "a number from 0 to " + std::to_string(max) +
                                " is needed here, decimal or hexadecimal (0x...)");
    }
    return *number;
}

uint16_t parse_code(const std::string &text)
{
    return static_cast<uint16_t>(parse_number(text, UINT16_MAX));
}

int32_t parse_step(const std::string &text)
{
    const bool is_signed = !text.empty() && (text[0] == '+' || text[0] == '-');
    const std::optional<uint32_t> size =
        is_signed ? tools::decimal_or_hexadecimal(text.substr(1), UINT8_MAX) : std::nullopt;
    if (!size) {
        misunderstood(text, "write +3 for three steps up, -3 for three down; 255 at most");
    }
    const int32_t steps = static_cast<int32_t>(*size);
    return text[0] == '-' ? -steps : steps;
}

uint32_t parse_key(const std::string &text)
{
    const std::optional<uint32_t> named = tools::find_key(text);
    if (named) {
        return *named;
    }
    if (!has_digits_only(text)) {
        misunderstood(text,
                      "a key is a number or a name; \"tvlink-ctl key --list\" lists the names");
    }
    return parse_number(text, UINT32_MAX);
}

int32_t parse_signed(const std::string &text)
{
    const bool negative = !text.empty() && text[0] == '-';
    const uint32_t max = negative ? 0x80000000U : 0x7FFFFFFFU;
    const uint32_t size = parse_number(negative ? text.substr(1) : text, max);
    return static_cast<int32_t>(negative ? 0U - size : size);
}

Argument parse_argument(const std::string &text)
{
    const size_t colon = text.find(':');
    for (const ArgumentForm &form : forms) {
        if (colon != std::string::npos && text.compare(0, colon, form.kind) == 0) {
            return form.parse(text.substr(colon + 1));
        }
    }
    misunderstood(text, argument_forms);
}

CpValue value_of(const Argument &argument)
{
    CpValue value = argument.value;
    value.bytes = {argument.bytes.data(), argument.bytes.size()};
    return value;
}

} // namespace ctl
