#include "output.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ctl
{
namespace
{

using Json = nlohmann::ordered_json;

/* Bytes of the UTF-8 character at `at`, or 0 when what stands there is none. */
size_t utf8_length(CpBytes text, size_t at)
{
    static const struct {
        uint8_t mask, lead;
        uint32_t least; /* below this the character has a shorter form */
    } forms[] = {{0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
    for (size_t length = 1; length <= 4; length++) {
        const auto &form = forms[length - 1];
        if ((text.data[at] & form.mask) != form.lead || length > text.size - at) {
            continue;
        }
        uint32_t character = text.data[at] & static_cast<uint8_t>(~form.mask);
        bool whole = true;
        for (size_t i = 1; i < length; i++) {
            whole = whole && (text.data[at + i] & 0xC0) == 0x80;
            character = character << 6 | (text.data[at + i] & 0x3F);
        }
        const bool surrogate = character >= 0xD800 && character < 0xE000;
        return whole && character >= form.least && character < 0x110000 && !surrogate ? length : 0;
    }
    return 0;
}

bool is_utf8(CpBytes text)
{
    size_t at = 0;
    while (at < text.size) {
        const size_t length = utf8_length(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

/* The control characters: below the blank, delete, and the second block (0x80 to 0x9F). */
bool is_control(CpBytes text, size_t at, size_t length)
{
    const uint8_t first = text.data[at];
    return (length == 1 && (first < 0x20 || first == 0x7F)) ||
           (length == 2 && first == 0xC2 && text.data[at + 1] < 0xA0);
}

std::string in_words(const Fact &fact)
{
    if (const auto *text = std::get_if<std::string>(&fact)) {
        return printable(*text);
    }
    if (const auto *number = std::get_if<int64_t>(&fact)) {
        return std::to_string(*number);
    }
    if (const auto *number = std::get_if<double>(&fact)) {
        char text[32];
        snprintf(text, sizeof text, "%.3f", *number);
        return text;
    }
    if (const auto *flag = std::get_if<bool>(&fact)) {
        return *flag ? "yes" : "no";
    }
    std::string list;
    for (const int64_t number : std::get<std::vector<int64_t>>(fact)) {
        list += (list.empty() ? "" : " ") + std::to_string(number);
    }
    return list;
}

void put_line(const std::string &line)
{
    printf("%s\n", line.c_str());
    fflush(stdout);
}

Json json_of(const Facts &facts)
{
    Json object = Json::object();
    for (const auto &[name, fact] : facts) {
        std::visit([&object, &key = name](const auto &value) { object[key] = value; }, fact);
    }
    return object;
}

void put_json(const Json &object)
{
    put_line(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace

void add_text(Facts &facts, const std::string &name, CpBytes text)
{
    facts.emplace_back(name, std::string(text.data, text.data + text.size));
    if (!is_utf8(text)) {
        facts.emplace_back(name + "_hex", hex(text, ""));
    }
}

void add_number(Facts &facts, const std::string &name, int64_t number)
{
    facts.emplace_back(name, number);
}

void print_facts(const Settings &settings, const Facts &facts)
{
    if (settings.json) {
        put_json(json_of(facts));
        return;
    }
    for (const auto &[name, fact] : facts) {
        std::string words = name;
        std::replace(words.begin(), words.end(), '_', ' ');
        put_line(words + ": " + in_words(fact));
    }
}

void print_line(const Settings &settings, const std::string &line, const Facts &facts)
{
    if (settings.json) {
        put_json(json_of(facts));
    } else {
        put_line(line);
    }
}

CpBytes bytes_of(const std::string &text)
{
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

void print_list(const Settings &settings, const Table &table, const std::string &things,
                const std::vector<Facts> &entries)
{
    if (!settings.json) {
        printf("%s",
               table.rows.empty() ? ("no " + things + "\n").c_str() : table_text(table).c_str());
        fflush(stdout);
        return;
    }
    Json list = Json::array();
    for (const Facts &entry : entries) {
        list.push_back(json_of(entry));
    }
    put_json({{"count", entries.size()}, {things, list}});
}

std::string printable(CpBytes text)
{
    std::string safe;
    size_t at = 0;
    while (at < text.size) {
        const size_t length = utf8_length(text, at);
        if (length == 0 || is_control(text, at, length)) {
            safe += "\\x" + hex({text.data + at, 1}, "");
            at += 1;
        } else {
            safe.append(text.data + at, text.data + at + length);
            at += length;
        }
    }
    return safe;
}

std::string printable(const std::string &text)
{
    return printable(bytes_of(text));
}

std::string quoted(CpBytes text)
{
    return "\"" + printable(text) + "\"";
}

std::string hex(CpBytes bytes, const char *separator)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < bytes.size; i++) {
        text += i == 0 ? "" : separator;
        text += digits[bytes.data[i] >> 4];
        text += digits[bytes.data[i] & 15];
    }
    return text;
}

std::string hex_byte(uint8_t byte)
{
    return "0x" + hex({&byte, 1}, "");
}

std::string hex_code(uint16_t code)
{
    const uint8_t bytes[] = {static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
    return "0x" + hex({bytes, sizeof bytes}, "");
}

std::string hex_dump(CpBytes bytes)
{
    std::string dump;
    for (size_t at = 0; at < bytes.size; at += 16) {
        const size_t size = std::min<size_t>(16, bytes.size - at);
        const std::string line = hex({bytes.data + at, size}, " ");
        char offset[24];
        snprintf(offset, sizeof offset, "%04zx  ", at);
        dump += (at == 0 ? "" : "\n") + std::string(offset) + line;
        dump += std::string(49 - line.size(), ' ') + "|";
        for (size_t i = at; i < at + size; i++) {
            const bool plain = bytes.data[i] >= 0x20 && bytes.data[i] < 0x7F;
            dump += plain ? static_cast<char>(bytes.data[i]) : '.';
        }
        dump += "|";
    }
    return dump;
}

} // namespace ctl
