#include "xml_depth.h"

#include <algorithm>
#include <array>

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

/* The place of the > that ends the tag; those in the values of attributes do not. */
size_t tag_end(const std::string &text, size_t from)
{
    char before = '\0';
    size_t at = from;
    while (at < text.size() && text[at] != '>') {
        const char letter = text[at];
        at++;
        if (before == '=' && (letter == '"' || letter == '\'')) {
            at = behind(text, std::string(1, letter), at);
        }
        before = is_blank(letter) ? before : letter;
    }
    return std::min(at, text.size());
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

} // namespace

size_t find_too_deep(const std::string &text, size_t most)
{
    size_t depth = 0;
    size_t at = text.find('<');
    while (at != std::string::npos && at < text.size()) {
        size_t next = skip_section(text, at);
        if (next == at) {
            const bool ends = text.compare(at, 2, "</") == 0;
            const bool declares = text.compare(at, 2, "<!") == 0;
            next = declares ? behind(text, ">", at) : tag_end(text, at);
            const bool empty = next > at && text[next - 1] == '/';
            if (ends) {
                depth -= depth > 0 ? 1 : 0;
            } else if (!declares && !empty && ++depth > most) {
                return at;
            }
        }
        at = text.find('<', next);
    }
    return std::string::npos;
}

} // namespace sim
