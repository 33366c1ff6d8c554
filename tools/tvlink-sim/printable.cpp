#include "printable.h"

#include <cstdint>
#include <cstdio>

#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t max_characters = 60;

/* DEL and the second block of control characters, U+0080 to U+009F, drive terminals too. */
bool is_control(const std::string &text, size_t at, size_t length)
{
    const uint8_t first = static_cast<uint8_t>(text[at]);
    if (length == 1) {
        return first < 0x20 || first == 0x7F;
    }
    return length == 2 && first == 0xC2 && static_cast<uint8_t>(text[at + 1]) < 0xA0;
}

std::string escaped(const std::string &text, size_t at, size_t length)
{
    std::string result;
    for (size_t i = at; i < at + length; i++) {
        char code[5];
        snprintf(code, sizeof code, "\\x%02x",
                 static_cast<unsigned>(static_cast<uint8_t>(text[i])));
        result += code;
    }
    return result;
}

/* The character at this place as it is to be shown; how many bytes it takes is left in `length`. */
std::string shown(const std::string &text, size_t at, size_t &length)
{
    length = character_length(text, at);
    if (length == 0) {
        length = 1;
        return escaped(text, at, 1);
    }
    if (is_control(text, at, length)) {
        return escaped(text, at, length);
    }
    const bool marked = text[at] == '"' || text[at] == '\\';
    return (marked ? "\\" : "") + text.substr(at, length);
}

} // namespace

std::string quoted(const std::string &text)
{
    std::string result = "\"";
    size_t at = 0;
    for (size_t count = 0; at < text.size() && count < max_characters; count++) {
        size_t length = 0;
        result += shown(text, at, length);
        at += length;
    }
    return result + (at < text.size() ? "...\"" : "\"");
}

} // namespace sim
