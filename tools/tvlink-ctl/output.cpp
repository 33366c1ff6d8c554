/* SPDX-License-Identifier: MIT */
#include "output.h"

#include "system.h"
#include "utf8.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ctl
{
namespace
{

using Json = nlohmann::ordered_json;

std::string fact_in_words(const Fact &fact)
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

void print_line(const std::string &line)
{
    tools::print(stdout, line + "\n");
}

Json json_of(const Facts &facts)
{
    Json object = Json::object();
    for (const auto &[name, fact] : facts) {
        std::visit([&object, &key = name](const auto &value) { object[key] = value; }, fact);
    }
    return object;
}

} // namespace

void add_text(Facts &facts, const std::string &name, CpBytes text)
{
    facts.emplace_back(name, text_of(text));
    if (tools::find_malformed(text_of(text)) != std::string::npos) {
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
        print_line(tools::one_line(json_of(facts)));
        return;
    }
    for (const auto &[name, fact] : facts) {
        std::string words = name;
        std::replace(words.begin(), words.end(), '_', ' ');
        print_line(words + ": " + fact_in_words(fact));
    }
}

void print_line(const Settings &settings, const std::string &line, const Facts &facts)
{
    if (settings.json) {
        print_line(tools::one_line(json_of(facts)));
    } else {
        print_line(line);
    }
}

std::string text_of(CpBytes text)
{
    return {text.data, text.data + text.size};
}

CpBytes bytes_of(const std::string &text)
{
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

void print_list(const Settings &settings, const Table &table, const std::string &things,
                const std::vector<Facts> &entries)
{
    if (!settings.json) {
        tools::print(stdout, table.rows.empty() ? "no " + things + "\n" : table_text(table));
        return;
    }
    Json list = Json::array();
    for (const Facts &entry : entries) {
        list.push_back(json_of(entry));
    }
    print_line(tools::one_line(Json{{"count", entries.size()}, {things, list}}));
}

std::string printable(CpBytes text)
{
    return tools::printable(text_of(text));
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
