/* SPDX-License-Identifier: MIT */
#include "ampersands.h"

#include <algorithm>
#include <cstdint>

namespace sim
{

namespace
{

constexpr size_t longest_reference = 256;
const char *const cdata_begin = "<![CDATA[";
constexpr size_t cdata_begin_size = 9;
const char *const cdata_end = "]]>";
constexpr size_t cdata_end_size = 3;

bool belongs_to_name(char letter)
{
    const bool word = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                      (letter >= '0' && letter <= '9');
    return word || letter == '_' || letter == '-' || letter == '.' || letter == ':' ||
           static_cast<uint8_t>(letter) >= 0x80;
}

/* Appends text[at] to text[end - 1] and returns `end`. */
size_t copy_until(std::string &out, const std::string &text, size_t at, size_t end)
{
    out.append(text, at, end - at);
    return end;
}

/* Each of the following returns the position of what it has not appended; it appends nothing when
 * more text is needed. */

/* At any character of a section. */
size_t copy_cdata(Ampersands &state, const std::string &text, size_t at, std::string &out)
{
    const size_t end = text.find(cdata_end, at);
    if (end == std::string::npos) {
        const size_t sure = text.size() - std::min(text.size() - at, cdata_end_size - 1);
        return copy_until(out, text, at, sure);
    }
    state.in_cdata = false;
    return copy_until(out, text, at, end + cdata_end_size);
}

/* At a '<'. */
size_t copy_tag(Ampersands &state, const std::string &text, size_t at, bool last, std::string &out)
{
    const size_t size = std::min(text.size() - at, cdata_begin_size);
    const bool same = text.compare(at, size, cdata_begin, size) == 0;
    if (same && size < cdata_begin_size && !last) {
        return at;
    }
    state.in_cdata = same && size == cdata_begin_size;
    return copy_until(out, text, at, state.in_cdata ? at + size : at + 1);
}

/* At a '&'. */
size_t copy_ampersand(Ampersands &state, const std::string &text, size_t at, bool last,
                      std::string &out)
{
    const size_t limit = std::min(text.size(), at + longest_reference);
    const size_t name = at + 1 < limit && text[at + 1] == '#' ? at + 2 : at + 1;
    size_t end = name;
    while (end < limit && belongs_to_name(text[end])) {
        end++;
    }
    if (end >= text.size() && !last) {
        return at;
    }
    if (end > name && end < limit && text[end] == ';') {
        return copy_until(out, text, at, end + 1);
    }
    state.mended++;
    out += "&amp;";
    return at + 1;
}

size_t copy_some(Ampersands &state, const std::string &text, size_t at, bool last, std::string &out)
{
    if (state.in_cdata) {
        return copy_cdata(state, text, at, out);
    }
    const size_t next = std::min(text.find_first_of("<&", at), text.size());
    if (next > at) {
        return copy_until(out, text, at, next);
    }
    return text[at] == '<' ? copy_tag(state, text, at, last, out)
                           : copy_ampersand(state, text, at, last, out);
}

} // namespace

std::string mend_ampersands(Ampersands &state, const std::string &block, bool last)
{
    const std::string text = state.rest + block;
    std::string out;
    size_t at = 0;
    size_t next = 0;
    while (at < text.size() && (next = copy_some(state, text, at, last, out)) > at) {
        at = next;
    }
    state.rest = text.substr(at);
    if (last) {
        out += state.rest;
        state.rest.clear();
    }
    return out;
}

} // namespace sim
