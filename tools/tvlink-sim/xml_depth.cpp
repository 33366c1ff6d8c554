#include "xml_depth.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace sim
{

namespace
{

/* What looks like a tag and is none, with what ends it. */
struct Section {
    const char *begin;
    const char *end;
};

const std::array<Section, 3> sections = {{{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};

size_t behind(const std::string &text, const std::string &end, size_t from)
{
    const size_t found = text.find(end, from);
    return found == std::string::npos ? text.size() : found + end.size();
}

bool is_blank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\n' || letter == '\r';
}

/* Nearly every character may stand in a name: only these end it. */
size_t name_end(const std::string &text, size_t from, const std::string &ends)
{
    return std::min(text.find_first_of(ends, from), text.size());
}

size_t skip_blanks(const std::string &text, size_t at)
{
    while (at < text.size() && is_blank(text[at])) {
        at++;
    }
    return at;
}

/* The place behind name="value" and the blanks that follow; the same place when there is none. */
size_t skip_attribute(const std::string &text, size_t at)
{
    const size_t equals = skip_blanks(text, name_end(text, at, " \t\n\r!/<=>?"));
    if (equals == text.size() || text[equals] != '=') {
        return at;
    }
    const size_t quote = skip_blanks(text, equals + 1);
    if (quote == text.size() || (text[quote] != '"' && text[quote] != '\'')) {
        return at;
    }
    return skip_blanks(text, behind(text, std::string(1, text[quote]), quote + 1));
}

/* Where name and attributes end: at the tag's > or />, or where the parser gives up. */
size_t tag_end(const std::string &text, size_t from)
{
    size_t at = skip_blanks(text, name_end(text, from + 1, " \t\n\r/>?"));
    size_t next = skip_attribute(text, at);
    while (next != at) {
        at = next;
        next = skip_attribute(text, at);
    }
    return at;
}

/* The place behind a document type, in whose brackets each > and each tag is skipped, or behind any
 * other declaration. */
size_t declaration_end(const std::string &text, size_t from)
{
    static const std::string doctype = "<!DOCTYPE";
    const size_t name = from + doctype.size();
    const bool has_brackets = text.compare(from, doctype.size(), doctype) == 0 &&
                              name < text.size() && is_blank(text[name]);
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

/* The place behind a section that begins here; the same place when none does. */
size_t skip_section(const std::string &text, size_t at)
{
    for (const Section &section : sections) {
        const std::string begin = section.begin;
        if (text.compare(at, begin.size(), begin) == 0) {
            return behind(text, section.end, at + begin.size());
        }
    }
    return at;
}

/* How much deeper the elements lie behind what begins here, and where that ends. */
struct Step {
    int deeper;
    size_t end;
};

Step step_over(const std::string &text, size_t at)
{
    const size_t behind_section = skip_section(text, at);
    if (behind_section != at) {
        return {0, behind_section};
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

size_t find_too_deep(const std::string &text, size_t most)
{
    int64_t depth = 0;
    size_t at = text.find('<');
    while (at != std::string::npos) {
        const Step step = step_over(text, at);
        depth = std::max<int64_t>(0, depth + step.deeper);
        if (depth > static_cast<int64_t>(most)) {
            return at;
        }
        at = text.find('<', step.end);
    }
    return std::string::npos;
}

} // namespace sim
