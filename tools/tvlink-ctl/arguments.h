/* What is written on the command line, made into numbers and values. Each function throws a usage
 * Failure for a text that it does not understand. Inline, so that tests take it in alone. */
#ifndef TVLINK_CTL_ARGUMENTS_H
#define TVLINK_CTL_ARGUMENTS_H

#include "controlpoint.h"
#include "failure.h"
#include "key_names.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace ctl
{

inline constexpr char argument_forms[] = "an argument is one of u8:5 u16:7 port:8801 u32:0x10 "
                                         "i32:-3 f32:1.5 str:text blob:0a0b point:1,2,3 hex:aabb";

[[noreturn]] inline void misunderstood(const std::string &text, const std::string &hint)
{
    throw Failure(STATUS_USAGE, "cannot make sense of \"" + text + "\"", hint);
}

/* Digits alone: strtoull by itself would also take blanks, signs and what follows a number. */
inline bool is_number(const std::string &text)
{
    const bool hexadecimal =
        text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char *digits = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    return !text.empty() &&
           text.find_first_not_of(digits, hexadecimal ? 2 : 0) == std::string::npos;
}

/* A number from 0 to `most`, decimal or with 0x in front hexadecimal. */
inline std::optional<uint32_t> number_up_to(uint32_t most, const std::string &text)
{
    if (!is_number(text)) {
        return std::nullopt;
    }
    const bool hexadecimal = text.size() > 2 && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    const unsigned long long number = strtoull(text.c_str(), nullptr, hexadecimal ? 16 : 10);
    if (errno != 0 || number > most) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(number);
}

inline uint32_t parse_number(const std::string &text, uint32_t most)
{
    const std::optional<uint32_t> number = number_up_to(most, text);
    if (!number) {
        misunderstood(text, "a number from 0 to " + std::to_string(most) +
                                " is needed here, decimal or hexadecimal (0x...)");
    }
    return *number;
}

inline uint16_t parse_code(const std::string &text)
{
    return static_cast<uint16_t>(parse_number(text, UINT16_MAX));
}

/* "+3" or "-3"; the sign is not optional, since a bare number looks like a channel's number. */
inline int32_t parse_step(const std::string &text)
{
    const bool is_signed = !text.empty() && (text[0] == '+' || text[0] == '-');
    const std::optional<uint32_t> size =
        is_signed ? number_up_to(UINT8_MAX, text.substr(1)) : std::nullopt;
    if (!size) {
        misunderstood(text, "write +3 for three steps up, -3 for three down; 255 at most");
    }
    const int32_t steps = static_cast<int32_t>(*size);
    return text[0] == '-' ? -steps : steps;
}

/* A key's name, else its number. A single digit is the name of a digit key. */
inline uint32_t parse_key(const std::string &text)
{
    const std::optional<uint32_t> named = find_key(text);
    if (named) {
        return *named;
    }
    if (!is_number(text)) {
        misunderstood(text,
                      "a key is a number or a name; \"tvlink-ctl key --list\" lists the names");
    }
    return parse_number(text, UINT32_MAX);
}

/* A typed argument and the bytes that its value borrows. */
struct Argument {
    CpValue value;
    std::vector<uint8_t> bytes;
};

/* The value as the builders take it. It borrows from the argument. */
inline CpValue value_of(const Argument &argument)
{
    CpValue value = argument.value;
    value.bytes = {argument.bytes.data(), argument.bytes.size()};
    return value;
}

inline std::vector<uint8_t> parse_hex(const std::string &text)
{
    std::vector<uint8_t> bytes;
    if (text.size() % 2 != 0 ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        misunderstood(text, "bytes are written with two hexadecimal digits each, such as 0a1b");
    }
    for (size_t at = 0; at < text.size(); at += 2) {
        bytes.push_back(static_cast<uint8_t>(strtoul(text.substr(at, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

inline CpValue parse_signed(const std::string &text)
{
    const bool negative = !text.empty() && text[0] == '-';
    const uint32_t most = negative ? 0x80000000U : 0x7FFFFFFFU;
    const uint32_t size = parse_number(negative ? text.substr(1) : text, most);
    return cp_number(CP_TAG_I32, negative ? 0U - size : size);
}

inline CpValue parse_float(const std::string &text)
{
    char *end = nullptr;
    const float number = strtof(text.c_str(), &end);
    if (text.empty() || *end != '\0') {
        misunderstood(text, "a number such as 1.5 is needed here");
    }
    return cp_float(number);
}

inline CpValue parse_point(const std::string &text)
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

inline Argument bytes_argument(uint8_t tag, std::vector<uint8_t> bytes)
{
    return {cp_number(tag, 0), std::move(bytes)};
}

/* "u8:5" and the like; argument_forms shows all. */
inline Argument parse_argument(const std::string &text)
{
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        misunderstood(text, argument_forms);
    }
    const std::string kind = text.substr(0, colon);
    const std::string rest = text.substr(colon + 1);
    if (kind == "u8") {
        return {cp_number(CP_TAG_U8, parse_number(rest, UINT8_MAX)), {}};
    }
    if (kind == "u16" || kind == "port") {
        const uint8_t tag = kind == "u16" ? CP_TAG_U16 : CP_TAG_PORT;
        return {cp_number(tag, parse_number(rest, UINT16_MAX)), {}};
    }
    if (kind == "u32") {
        return {cp_number(CP_TAG_U32, parse_number(rest, UINT32_MAX)), {}};
    }
    if (kind == "i32") {
        return {parse_signed(rest), {}};
    }
    if (kind == "f32") {
        return {parse_float(rest), {}};
    }
    if (kind == "point") {
        return {parse_point(rest), {}};
    }
    if (kind == "str") {
        return bytes_argument(CP_TAG_STRING, {rest.begin(), rest.end()});
    }
    if (kind == "blob") {
        return bytes_argument(CP_TAG_BLOB, parse_hex(rest));
    }
    if (kind == "hex") {
        return bytes_argument(CP_TAG_RAW, parse_hex(rest));
    }
    misunderstood(text, argument_forms);
}

} // namespace ctl

#endif
