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
        return {0, behind(text, ">", at)};
    }
    const size_t end = tag_end(text, at);
    if (text.compare(at, 2, "</") == 0) {
        return {-1, end};
    }
    return {text[end - 1] == '/' ? 0 : 1, end};
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
