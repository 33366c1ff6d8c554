/* SPDX-License-Identifier: MIT */
#include "printable.h"

#include <cstdint>
#include <cstdio>

#include "utf8.h"

namespace tools
{

namespace
{

constexpr size_t max_characters = 60;

/* DEL and the second block of control characters, U+0080 to U+009F, drive terminals too. */
bool is_control(std::string_view character)
{
    const uint8_t first = static_cast<uint8_t>(character[0]);
    if (character.size() == 1) {
        return first < 0x20 || first == 0x7F;
    }
    return character.size() == 2 && first == 0xC2 && static_cast<uint8_t>(character[1]) < 0xA0;
}

std::string escaped(std::string_view bytes)
{
    std::string result;
    for (const char byte : bytes) {
        char code[5];
        snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(byte)));
        result += code;
    }
    return result;
}

/* Takes the first character off the text and returns it as it is shown. */
std::string take_shown(std::string_view &text)
{
    const size_t length = character_length(text, 0);
    const std::string_view character = text.substr(0, length == 0 ? 1 : length);
    text.remove_prefix(character.size());
    return length == 0 || is_control(character) ? escaped(character) : std::string(character);
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        result += take_shown(text);
    }
    return result;
}

std::string quoted(const std::string &text)
{
    std::string_view rest = text;
    std::string result = "\"";
    for (size_t count = 0; !rest.empty() && count < max_characters; count++) {
        result += rest[0] == '"' || rest[0] == '\\' ? "\\" : "";
        result += take_shown(rest);
    }
    return result + (rest.empty() ? "\"" : "...\"");
}

} // namespace tools
