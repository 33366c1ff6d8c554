/* SPDX-License-Identifier: MIT */
#include "support/wire.h"

#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace
{

constexpr size_t OVERHEAD = 72;
constexpr size_t LENGTH_AT = 3;
constexpr size_t TYPE_AT = 50;
constexpr size_t PAYLOAD_AT = 51;

[[noreturn]] void refuse(const std::string &text)
{
    std::fprintf(stderr, "not bytes: %s\n", text.c_str());
    std::abort();
}

uint8_t byte_at(const std::string &text, size_t at)
{
    unsigned value = 0;
    int used = 0;
    if (std::sscanf(text.substr(at, 2).c_str(), "%2x%n", &value, &used) != 1 || used != 2) {
        refuse(text);
    }
    return static_cast<uint8_t>(value);
}

} // namespace

Bytes bytes(const std::string &text)
{
    Bytes result;
    for (size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            at++;
        } else if (text[at] == '\'') {
            const size_t end = text.find('\'', at + 1);
            if (end == std::string::npos) {
                refuse(text);
            }
            result.insert(result.end(), text.begin() + static_cast<std::ptrdiff_t>(at + 1),
                          text.begin() + static_cast<std::ptrdiff_t>(end));
            at = end + 1;
        } else {
            result.push_back(byte_at(text, at));
            at += 2;
        }
    }
    return result;
}

std::string hex(const void *data, size_t size)
{
    std::string text;
    for (size_t i = 0; i < size; i++) {
        char item[4];
        std::snprintf(item, sizeof item, "%s%02X", i == 0 ? "" : " ",
                      static_cast<const uint8_t *>(data)[i]);
        text += item;
    }
    return text;
}

std::string hex(const Bytes &data)
{
    return hex(data.data(), data.size());
}

Bytes joined(const std::vector<Bytes> &parts)
{
    Bytes result;
    for (const Bytes &part : parts) {
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

Bytes wire_frame(uint8_t type, const Bytes &payload)
{
    Bytes frame(payload.size() + OVERHEAD, 0);
    frame[0] = frame[1] = frame[2] = 0xA5;
    for (size_t i = 0; i < 4; i++) {
        frame[LENGTH_AT + i] = static_cast<uint8_t>(frame.size() >> (8 * i));
    }
    frame[TYPE_AT] = type;
    std::copy(payload.begin(), payload.end(), frame.begin() + PAYLOAD_AT);
    frame.back() = static_cast<uint8_t>(std::accumulate(frame.begin(), frame.end(), 0u));
    return frame;
}

Bytes text_request(const std::string &text)
{
    return wire_frame(5, bytes("'" + text + "'"));
}

std::string text_reply(const std::string &text)
{
    return hex(wire_frame(6, bytes("'" + text + "'")));
}
