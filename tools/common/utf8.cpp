/* SPDX-License-Identifier: MIT */
#include "utf8.h"

#include <algorithm>

namespace tools
{

namespace
{

bool continues(std::string_view text, size_t at)
{
    return at < text.size() && (static_cast<uint8_t>(text[at]) & 0xC0) == 0x80;
}

size_t announced_length(uint8_t first)
{
    if (first < 0x80) {
        return 1;
    }
    return first >= 0xC2 && first <= 0xDF   ? 2
           : first >= 0xE0 && first <= 0xEF ? 3
           : first >= 0xF0 && first <= 0xF4 ? 4
                                            : 0;
}

char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool same_letter(char a, char b)
{
    return lower(a) == lower(b);
}

} // namespace

size_t character_length(std::string_view text, size_t at)
{
    const uint8_t first = static_cast<uint8_t>(text[at]);
    const size_t length = announced_length(first);
    for (size_t i = 1; i < length; i++) {
        if (!continues(text, at + i)) {
            return 0;
        }
    }
    const uint8_t second = length > 2 ? static_cast<uint8_t>(text[at + 1]) : 0;
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool no_character =
        (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return overlong || no_character ? 0 : length;
}

size_t find_malformed(std::string_view text)
{
    size_t at = 0;
    while (at < text.size()) {
        const size_t length = character_length(text, at);
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return std::string_view::npos;
}

std::string cut_text(std::string_view text, size_t max)
{
    size_t end = std::min(text.size(), max);
    while (end > 0 && continues(text, end)) {
        end--;
    }
    return std::string(text.substr(0, end));
}

uint32_t code_point(std::string_view text, size_t at, size_t length)
{
    const uint8_t first = static_cast<uint8_t>(text[at]);
    uint32_t number = length == 1 ? first : first & (0x7FU >> length);
    for (size_t i = 1; i < length; i++) {
        number = (number << 6) | (static_cast<uint8_t>(text[at + i]) & 0x3FU);
    }
    return number;
}

bool holds(std::string_view text, std::string_view part)
{
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same_letter) !=
               text.end() ||
           part.empty();
}

bool equal_words(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same_letter);
}

} // namespace tools
