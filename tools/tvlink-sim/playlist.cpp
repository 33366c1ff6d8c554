/* SPDX-License-Identifier: MIT */
#include "playlist.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "input_error.h"
#include "numbers.h"
#include "printable.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr uint32_t max_number = 65535;

/* The content of one #EXTINF line. */
struct Announced {
    size_t line;
    Channel channel; /* number 0: no tvg-chno */
};

struct ListReading {
    std::vector<Channel> channels;
    std::unordered_set<uint32_t> numbers; /* from tvg-chno */
    std::optional<Announced> announced;   /* the channel whose address line is still to come */
};

bool is_blank(char letter)
{
    return letter == ' ' || letter == '\t';
}

std::string trimmed(const std::string &text)
{
    size_t from = 0;
    size_t to = text.size();
    while (from < to && is_blank(text[from])) {
        from++;
    }
    while (to > from && (is_blank(text[to - 1]) || text[to - 1] == '\r')) {
        to--;
    }
    return text.substr(from, to - from);
}

bool begins_with(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

uint16_t channel_number(ListReading &reading, const std::string &text, size_t line)
{
    const std::optional<uint32_t> number = decimal(text, max_number);
    if (!number || *number == 0) {
        throw InputError(line, "tvg-chno is no number from 1 to 65535: " + quoted(text));
    }
    if (!reading.numbers.insert(*number).second) {
        throw InputError(line, "channel number " + text + " is there already");
    }
    return static_cast<uint16_t>(*number);
}

void set_attribute(ListReading &reading, Announced &announced, const std::string &name,
                   const std::string &value)
{
    if (name == "tvg-id") {
        announced.channel.guide_id = value;
    } else if (name == "group-title") {
        announced.channel.group = value;
    } else if (name == "tvg-chno") {
        announced.channel.number = channel_number(reading, value, announced.line);
    }
}

/* Reads name="value" at `at` and returns the position after it. */
size_t read_attribute(ListReading &reading, Announced &announced, const std::string &text,
                      size_t at)
{
    const size_t equals = text.find_first_of("=, \t", at);
    if (equals == std::string::npos || text[equals] != '=' || equals + 1 == text.size() ||
        text[equals + 1] != '"') {
        throw InputError(announced.line,
                         "no name=\"value\" in #EXTINF: " + quoted(text.substr(at)));
    }
    const size_t end = text.find('"', equals + 2);
    if (end == std::string::npos) {
        throw InputError(announced.line, "a quotation mark is missing in #EXTINF");
    }
    set_attribute(reading, announced, text.substr(at, equals - at),
                  text.substr(equals + 2, end - equals - 2));
    return end + 1;
}

size_t skip_blanks(const std::string &text, size_t at)
{
    while (at < text.size() && is_blank(text[at])) {
        at++;
    }
    return at;
}

/* Parses what follows "#EXTINF:": the length in seconds, attributes, a comma, the name. */
Announced read_announced(ListReading &reading, const std::string &text, size_t line)
{
    Announced announced{line, {0, "", "", "", ""}};
    size_t at = text.find_first_of(", \t");
    at = at == std::string::npos ? text.size() : skip_blanks(text, at);
    while (at < text.size() && text[at] != ',') {
        at = skip_blanks(text, read_attribute(reading, announced, text, at));
    }
    if (at == text.size()) {
        throw InputError(line, "no comma and no name in #EXTINF");
    }
    announced.channel.name = trimmed(text.substr(at + 1));
    if (announced.channel.name.empty()) {
        throw InputError(line, "a channel without a name");
    }
    return announced;
}

void read_line(ListReading &reading, const std::string &text, size_t line)
{
    static const std::string extinf = "#EXTINF:";
    if (begins_with(text, extinf)) {
        if (reading.announced) {
            throw InputError(reading.announced->line, "a channel without an address");
        }
        reading.announced = read_announced(reading, text.substr(extinf.size()), line);
    } else if (!text.empty() && text[0] != '#') {
        if (!reading.announced) {
            throw InputError(line, "an address without #EXTINF before it");
        }
        reading.announced->channel.address = text;
        reading.channels.push_back(reading.announced->channel);
        reading.announced.reset();
    }
}

uint32_t next_free(const ListReading &reading, uint32_t after)
{
    uint32_t number = after + 1;
    while (reading.numbers.count(number) != 0) {
        number++;
    }
    return number;
}

/* Numbers the channels without tvg-chno. */
void number_channels(ListReading &reading, size_t line)
{
    uint32_t last = 0;
    for (Channel &channel : reading.channels) {
        if (channel.number != 0) {
            continue;
        }
        last = next_free(reading, last);
        if (last > max_number) {
            throw InputError(line, "too many channels");
        }
        channel.number = static_cast<uint16_t>(last);
    }
}

std::string without_byte_order_mark(const std::string &text)
{
    static const std::string mark = "\xEF\xBB\xBF";
    return begins_with(text, mark) ? text.substr(mark.size()) : text;
}

/* The line without surrounding blanks. Throws unless it is UTF-8, and the first line unless it
 * begins with the name of the format. */
std::string checked_line(const std::string &text, size_t line)
{
    if (text.find('\0') != std::string::npos || find_malformed(text) != std::string::npos) {
        throw InputError(line, "this is no UTF-8 text");
    }
    std::string content = trimmed(line == 1 ? without_byte_order_mark(text) : text);
    if (line == 1 && !begins_with(content, "#EXTM3U")) {
        throw InputError(line, "a playlist begins with #EXTM3U");
    }
    return content;
}

} // namespace

std::vector<Channel> parse_playlist(const std::string &text)
{
    ListReading reading;
    size_t line = 0;
    size_t from = 0;
    while (from < text.size()) {
        const size_t end = std::min(text.find('\n', from), text.size());
        line++;
        read_line(reading, checked_line(text.substr(from, end - from), line), line);
        from = end + 1;
    }
    if (reading.announced) {
        throw InputError(reading.announced->line, "a channel without an address");
    }
    if (reading.channels.empty()) {
        throw InputError(std::max<size_t>(line, 1), "no channels");
    }
    number_channels(reading, line);
    return reading.channels;
}

} // namespace sim
