/* SPDX-License-Identifier: MIT */
#include "xml_depth.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace sim
{

namespace
{

/* The delimiters of a construct that is no tag, whatever it contains. */
struct Section {
    const char *begin;
    const char *end;
};

const std::array<Section, 3> sections = {{{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};

/* The position after the next `end`; the end of the text when there is none. */
size_t skip_past(const std::string &text, const std::string &end, size_t from)
{
    const size_t found = text.find(end, from);
    return found == std::string::npos ? text.size() : found + end.size();
}

bool is_xml_blank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\n' || letter == '\r';
}

/* The parser accepts nearly every character in a name: only those of `ends` end it. */
size_t name_end(const std::string &text, size_t from, const std::string &ends)
{
    return std::min(text.find_first_of(ends, from), text.size());
}

size_t skip_xml_blanks(const std::string &text, size_t at)
{
    while (at < text.size() && is_xml_blank(text[at])) {
        at++;
    }
    return at;
}

/* The position after name="value" and the blanks that follow; `at` when there is no attribute. */
size_t skip_attribute(const std::string &text, size_t at)
{
    const size_t equals = skip_xml_blanks(text, name_end(text, at, " \t\n\r!/<=>?"));
    if (equals == text.size() || text[equals] != '=') {
        return at;
    }
    const size_t quote = skip_xml_blanks(text, equals + 1);
    if (quote == text.size() || (text[quote] != '"' && text[quote] != '\'')) {
        return at;
    }
    return skip_xml_blanks(text, skip_past(text, std::string(1, text[quote]), quote + 1));
}

/* The end of name and attributes: the tag's > or />, or the position of a syntax error. */
size_t tag_end(const std::string &text, size_t from)
{
    size_t at = skip_xml_blanks(text, name_end(text, from + 1, " \t\n\r/>?"));
    size_t next = skip_attribute(text, at);
    while (next != at) {
        at = next;
        next = skip_attribute(text, at);
    }
    return at;
}

/* The position after a declaration. No > inside the brackets of a document type ends it. */
size_t declaration_end(const std::string &text, size_t from)
{
    static const std::string doctype = "<!DOCTYPE";
    const size_t name = from + doctype.size();
    const bool has_brackets = text.compare(from, doctype.size(), doctype) == 0 &&
                              name < text.size() && is_xml_blank(text[name]);
    size_t open = 0;
    size_t at = from;
    while (at < text.size() && (open > 0 || text[at] != '>')) {
        if (has_brackets && text[at] == '[') {
            open++;
        } else if (text[at] == ']' && open > 0) {
            open--;
        }
        at++;
    }
    return std::min(at + 1, text.size());
}

/* The position after a section that begins at `at`; `at` when none does. */
size_t skip_section(const std::string &text, size_t at)
{
    for (const Section &section : sections) {
        const std::string begin = section.begin;
        if (text.compare(at, begin.size(), begin) == 0) {
            return skip_past(text, section.end, at + begin.size());
        }
    }
    return at;
}

/* The change of depth by one tag, section or declaration, and the position of its end. */
struct Step {
    int deeper;
    size_t end;
};

Step step_over(const std::string &text, size_t at)
{
    const size_t section_end = skip_section(text, at);
    if (section_end != at) {
        return {0, section_end};
    }
    if (text.compare(at, 2, "<!") == 0) {
        return {0, declaration_end(text, at)};
    }
    if (text.compare(at, 2, "</") == 0) {
        return {-1, name_end(text, at + 2, ">")};
    }
    const size_t end = tag_end(text, at);
    const bool is_empty = end < text.size() && text[end] == '/';
    return {is_empty ? 0 : 1, end};
}

} // namespace

size_t find_too_deep(const std::string &text, size_t max)
{
    int64_t depth = 0;
    size_t at = text.find('<');
    while (at != std::string::npos) {
        const Step step = step_over(text, at);
        depth = std::max<int64_t>(0, depth + step.deeper);
        if (depth > static_cast<int64_t>(max)) {
            return at;
        }
        at = text.find('<', step.end);
    }
    return std::string::npos;
}

} // namespace sim
