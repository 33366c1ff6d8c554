/* SPDX-License-Identifier: MIT */
#include "extinf.h"

#include <algorithm>

#include "input_error.h"
#include "printable.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t nowhere = std::string::npos;

const FaultKind open_quotation = {"attribute read up to a comma", "attributes read up to a comma",
                                  "a quotation mark is missing"};

struct Attribute {
    std::string name;
    std::string value;
    bool has_value; /* otherwise a word without an equals sign */
    bool closed;    /* no quotation mark is missing */
    size_t end;
};

bool is_list_blank(char letter)
{
    return letter == ' ' || letter == '\t';
}

/* The position of the quotation mark that ends the value; one behind a backslash does not. */
size_t closing_quotation(const std::string &text, size_t at, char mark)
{
    for (; at < text.size() && text[at] != mark; at++) {
        at += text[at] == '\\' && at + 1 < text.size() && text[at + 1] == mark ? 1 : 0;
    }
    return at < text.size() ? at : nowhere;
}

std::string unescaped(const std::string &text, char mark)
{
    std::string result;
    for (size_t i = 0; i < text.size(); i++) {
        i += text[i] == '\\' && i + 1 < text.size() && text[i + 1] == mark ? 1 : 0;
        result.push_back(text[i]);
    }
    return result;
}

/* Reads the value in quotation marks that begins at `at`. */
void read_quoted(const std::string &text, size_t at, Attribute &attribute)
{
    const char mark = text[at];
    size_t end = closing_quotation(text, at + 1, mark);
    if (end != nowhere) {
        attribute.value = unescaped(text.substr(at + 1, end - at - 1), mark);
        attribute.end = end + 1;
        return;
    }
    end = text.find(mark, at + 1); /* the backslash may be the value's last letter */
    attribute.closed = end != nowhere;
    end = std::min(attribute.closed ? end : text.find(',', at), text.size());
    attribute.value = text.substr(at + 1, end - at - 1);
    attribute.end = end + (attribute.closed ? 1 : 0);
}

/* Reads the value without quotation marks. A word behind a blank that has an equals sign itself is
 * the next attribute, and the value is empty. */
void read_unquoted(const std::string &text, size_t equals, size_t at, Attribute &attribute)
{
    const size_t end = std::min(text.find_first_of(", \t", at), text.size());
    const std::string value = text.substr(at, end - at);
    const bool next = at > equals + 1 && value.find('=') != nowhere;
    attribute.value = next ? "" : value;
    attribute.end = next ? at : end;
}

/* Reads the attribute at `at`, where neither a blank nor a comma is. */
Attribute read_attribute(const std::string &text, size_t at)
{
    const size_t end = std::min(text.find_first_of("=, \t", at), text.size());
    const size_t equals = skip_blanks(text, end);
    Attribute attribute{text.substr(at, end - at), "", false, true, end};
    if (equals == text.size() || text[equals] != '=') {
        return attribute;
    }
    attribute.has_value = true;
    const size_t value = skip_blanks(text, equals + 1);
    if (value < text.size() && (text[value] == '"' || text[value] == '\'')) {
        read_quoted(text, value, attribute);
    } else {
        read_unquoted(text, equals, value, attribute);
    }
    return attribute;
}

/* A strict reading takes name="value" alone, and no escaped quotation marks. */
Attribute read_strictly(const std::string &text, size_t at, size_t line)
{
    const size_t equals = text.find_first_of("=, \t", at);
    if (equals == nowhere || text[equals] != '=' || equals + 1 == text.size() ||
        text[equals + 1] != '"') {
        throw InputError(line, "no name=\"value\" in #EXTINF: " + tools::quoted(text.substr(at)));
    }
    const size_t end = text.find('"', equals + 2);
    if (end == nowhere) {
        throw InputError(line, "a quotation mark is missing in #EXTINF");
    }
    return {text.substr(at, equals - at), text.substr(equals + 2, end - equals - 2), true, true,
            end + 1};
}

void set_first(std::string &field, const std::string &value)
{
    if (field.empty()) {
        field = value;
    }
}

void set_attribute(Extinf &extinf, const Attribute &attribute)
{
    if (tools::equal_words(attribute.name, "tvg-id")) {
        set_first(extinf.guide_id, trimmed(attribute.value));
    } else if (tools::equal_words(attribute.name, "tvg-name")) {
        set_first(extinf.other_name, trimmed(attribute.value));
    } else if (tools::equal_words(attribute.name, "group-title")) {
        set_first(extinf.group, trimmed(attribute.value));
    } else if (tools::equal_words(attribute.name, "tvg-chno") && !extinf.number) {
        extinf.number = attribute.value;
    }
}

/* The position behind the length, which may be missing. */
size_t skip_length(const std::string &text, bool strict)
{
    if (strict) {
        const size_t end = text.find_first_of(", \t");
        return end == nowhere ? text.size() : skip_blanks(text, end);
    }
    const size_t end = text.find_first_not_of("+-.0123456789", skip_blanks(text, 0));
    return end == nowhere ? text.size() : skip_blanks(text, end);
}

} // namespace

std::string trimmed(const std::string &text)
{
    size_t from = 0;
    size_t to = text.size();
    while (from < to && is_list_blank(text[from])) {
        from++;
    }
    while (to > from && is_list_blank(text[to - 1])) {
        to--;
    }
    return text.substr(from, to - from);
}

size_t skip_blanks(const std::string &text, size_t at)
{
    while (at < text.size() && is_list_blank(text[at])) {
        at++;
    }
    return at;
}

Extinf read_extinf(const std::string &text, size_t line, Faults &faults)
{
    const bool strict = faults.strictness == Strictness::STRICT;
    Extinf extinf;
    size_t at = skip_length(text, strict);
    size_t words = at; /* where the words behind the last attribute begin */
    while (at < text.size() && text[at] != ',') {
        const Attribute attribute =
            strict ? read_strictly(text, at, line) : read_attribute(text, at);
        if (!attribute.closed) {
            count_fault(faults, open_quotation, line);
        }
        if (attribute.has_value) {
            set_attribute(extinf, attribute);
        }
        at = skip_blanks(text, attribute.end);
        words = attribute.has_value ? at : words;
    }
    if (at == text.size() && strict) {
        throw InputError(line, "no comma and no name in #EXTINF");
    }
    extinf.name = trimmed(text.substr(at < text.size() ? at + 1 : std::min(words, text.size())));
    return extinf;
}

std::string named_guide(const std::string &text)
{
    size_t at = skip_blanks(text, 0);
    while (at < text.size()) {
        const Attribute attribute = read_attribute(text, at);
        if (tools::equal_words(attribute.name, "url-tvg") ||
            tools::equal_words(attribute.name, "x-tvg-url")) {
            return attribute.value;
        }
        at = attribute.end;
        while (at < text.size() && (is_list_blank(text[at]) || text[at] == ',')) {
            at++;
        }
    }
    return "";
}

} // namespace sim
