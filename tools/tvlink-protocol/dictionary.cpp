/* SPDX-License-Identifier: MIT */
#include "forms.h"

#include "rows.h"

static std::string escaped(const std::string &bytes)
{
    std::string text = "\"";
    for (const char byte : bytes) {
        text += "\\x" + hex_digits(static_cast<unsigned char>(byte), 2);
    }
    return text + "\"\n";
}

/* What a request begins with, from the frame type to the method code. */
static std::string beginning(protocol::Kind kind, unsigned code)
{
    const std::string code_bytes = {static_cast<char>(code), static_cast<char>(code >> 8U)};
    switch (kind) {
    case protocol::KIND_GET:
        return std::string("\x05\x01") + code_bytes;
    case protocol::KIND_SET:
        return std::string("\x07") + code_bytes;
    case protocol::KIND_STRING:
        return std::string("\x21") + code_bytes;
    case protocol::KIND_INFO:
        return std::string("\x05\x00", 2);
    case protocol::KIND_DIRECT:
        break;
    }
    return "";
}

std::string dictionary()
{
    std::string text;
    for (const protocol::Operation &operation : protocol::ALL_OPERATIONS) {
        for (unsigned code = operation.first_code; code <= operation.last_code; code++) {
            const std::string bytes = beginning(operation.kind, code);
            text += bytes.empty() ? "" : escaped(bytes);
        }
    }
    return text;
}
