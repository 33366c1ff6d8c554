/* SPDX-License-Identifier: MIT */
#include "playlist.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "extinf.h"
#include "input_error.h"
#include "numbers.h"
#include "printable.h"
#include "text_blocks.h"

namespace sim
{

namespace
{

constexpr uint32_t max_number = 65535;

const FaultKind no_header = {"header missing", "headers missing", "a playlist begins with #EXTM3U"};
const FaultKind no_address = {"channel skipped", "channels skipped", "without an address"};
const FaultKind no_extinf = {"channel named after its address",
                             "channels named after their address", "no #EXTINF before it"};
const FaultKind no_name = {"channel named after its tvg-name or its address",
                           "channels named after their tvg-name or their address",
                           "the name is empty"};
const FaultKind no_playlist_line = {"line skipped", "lines skipped",
                                    "neither an address nor a comment"};
const FaultKind unusable_number = {"channel numbered anew", "channels numbered anew",
                                   "tvg-chno is no number from 1 to 65535"};
const FaultKind repeated_number = {"channel numbered anew", "channels numbered anew",
                                   "the number is there already"};
const FaultKind no_number_left = {"channel skipped", "channels skipped",
                                  "there are more than 65535"};

/* The channel whose address line is still to come. */
struct Announced {
    size_t line;
    Extinf content;
};

struct ListReading {
    Faults faults;
    std::vector<Channel> channels;        /* number 0: to be numbered */
    std::unordered_set<uint32_t> numbers; /* from tvg-chno */
    std::optional<Announced> announced;
    std::string group;                /* from #EXTGRP, for the next channel */
    std::vector<std::string> remarks; /* besides those of the faults */
    std::string partial;              /* the line up to here */
    size_t line = 0;
    bool header_checked = false;
    bool after_return = false;
};

bool is_strict(const ListReading &reading)
{
    return reading.faults.strictness == Strictness::STRICT;
}

bool begins_with(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/* ---- Channels */

/* 0 when the number is missing or cannot be used. */
uint16_t channel_number(ListReading &reading, const Announced &announced)
{
    if (!announced.content.number) {
        return 0;
    }
    const std::string &text = *announced.content.number;
    const std::optional<uint32_t> number =
        tools::decimal(is_strict(reading) ? text : trimmed(text), max_number);
    if (!number || *number == 0) {
        note_fault(reading.faults, unusable_number, announced.line,
                   "tvg-chno is no number from 1 to 65535: " + tools::quoted(text));
        return 0;
    }
    if (!reading.numbers.insert(*number).second) {
        note_fault(reading.faults, repeated_number, announced.line,
                   "channel number " + text + " is there already");
        return 0;
    }
    return static_cast<uint16_t>(*number);
}

/* The last part of the path, or the whole address. */
std::string last_part(const std::string &address)
{
    std::string path = address.substr(0, address.find_first_of("?#|"));
    path.resize(path.find_last_not_of('/') + 1);
    const size_t slash = path.find_last_of('/');
    path = slash == std::string::npos ? path : path.substr(slash + 1);
    return path.empty() ? address : path;
}

std::string channel_name(const Announced &announced, const std::string &address)
{
    const Extinf &content = announced.content;
    const std::string &name = content.name.empty() ? content.other_name : content.name;
    return name.empty() ? last_part(address) : name;
}

void add_channel(ListReading &reading, const Announced &announced, const std::string &address)
{
    if (reading.channels.size() == max_number && !is_strict(reading)) {
        count_fault(reading.faults, no_number_left, announced.line);
        return;
    }
    const Extinf &content = announced.content;
    const uint16_t number = channel_number(reading, announced);
    reading.channels.push_back({number, channel_name(announced, address),
                                content.group.empty() ? reading.group : content.group,
                                content.guide_id, address});
    reading.group.clear();
}

void read_address(ListReading &reading, const std::string &text)
{
    if (reading.announced) {
        add_channel(reading, *reading.announced, text);
        reading.announced.reset();
        return;
    }
    const bool address = text.find("://") != std::string::npos && text[0] != '<';
    note_fault(reading.faults, address ? no_extinf : no_playlist_line, reading.line,
               "an address without #EXTINF before it");
    if (address) {
        add_channel(reading, {reading.line, {}}, text);
    }
}

/* ---- Lines */

void end_announced(ListReading &reading)
{
    if (reading.announced) {
        note_fault(reading.faults, no_address, reading.announced->line,
                   "a channel without an address");
    }
    reading.announced.reset();
}

void announce(ListReading &reading, const std::string &text)
{
    end_announced(reading);
    reading.announced = Announced{reading.line, read_extinf(text, reading.line, reading.faults)};
    if (reading.announced->content.name.empty()) {
        note_fault(reading.faults, no_name, reading.line, "a channel without a name");
    }
}

void tell_guide(ListReading &reading, const std::string &text)
{
    const std::string guide = named_guide(text);
    if (!guide.empty() && reading.remarks.empty()) {
        reading.remarks.push_back("the playlist names a guide, which is not fetched: " +
                                  tools::quoted(guide));
    }
}

/* What follows the name of a directive, as in "#NAME: rest"; empty optional for another one. */
std::optional<std::string> directive(const std::string &text, const std::string &name)
{
    const size_t colon = begins_with(text, name) ? skip_blanks(text, name.size()) : text.size();
    return colon < text.size() && text[colon] == ':'
               ? std::optional<std::string>(text.substr(colon + 1))
               : std::nullopt;
}

void read_directive(ListReading &reading, const std::string &text)
{
    if (const auto extinf = directive(text, "#EXTINF")) {
        announce(reading, *extinf);
    } else if (const auto group = directive(text, "#EXTGRP")) {
        reading.group = trimmed(*group);
    } else if (begins_with(text, "#EXTM3U")) {
        tell_guide(reading, text.substr(7));
    }
}

void check_header(ListReading &reading, const std::string &text)
{
    if (!begins_with(text, "#EXTM3U")) {
        note_fault(reading.faults, no_header, reading.line, "a playlist begins with #EXTM3U");
    }
    reading.header_checked = true;
}

void read_line(ListReading &reading, const std::string &text)
{
    if (!reading.header_checked && (!text.empty() || is_strict(reading))) {
        check_header(reading, text);
    }
    if (!text.empty() && text[0] == '#') {
        read_directive(reading, text);
    } else if (!text.empty()) {
        read_address(reading, text);
    }
}

void end_line(ListReading &reading)
{
    reading.line++;
    const std::string text = trimmed(reading.partial);
    reading.partial.clear();
    read_line(reading, text);
}

/* Lines end in LF, CR, or both. */
void read_lines(ListReading &reading, const std::string &text)
{
    size_t from = 0;
    size_t end = 0;
    while ((end = text.find_first_of("\r\n", from)) != std::string::npos) {
        const bool second_half = end == from && text[end] == '\n' && reading.after_return;
        reading.partial.append(text, from, end - from);
        reading.after_return = text[end] == '\r';
        if (!second_half) {
            end_line(reading);
        }
        from = end + 1;
    }
    reading.partial.append(text, from, std::string::npos);
    reading.after_return = reading.after_return && from == text.size();
}

/* ---- The whole list */

uint32_t next_free(const ListReading &reading, uint32_t after)
{
    uint32_t number = after + 1;
    while (reading.numbers.count(number) != 0) {
        number++;
    }
    return number;
}

/* Numbers the channels that have no number yet. */
void number_channels(ListReading &reading)
{
    uint32_t last = 0;
    for (Channel &channel : reading.channels) {
        if (channel.number != 0) {
            continue;
        }
        last = next_free(reading, last);
        if (last > max_number) {
            throw InputError(reading.line, "too many channels");
        }
        channel.number = static_cast<uint16_t>(last);
    }
}

void read_all_lines(ListReading &reading, const ReadBlock &read)
{
    try {
        read_text(read, TextKind::PLAIN, reading.faults,
                  [&](const std::string &text) { read_lines(reading, text); });
    } catch (const InputError &error) {
        if (is_strict(reading) || reading.channels.empty()) {
            throw;
        }
        reading.remarks.push_back(std::string("the rest of the file is left out: ") + error.what());
    }
    if (!reading.partial.empty()) {
        end_line(reading);
    }
    end_announced(reading);
}

} // namespace

ReadPlaylist parse_playlist(const ReadBlock &read, Strictness strictness)
{
    ListReading reading;
    reading.faults.strictness = strictness;
    read_all_lines(reading, read);
    if (reading.channels.empty()) {
        throw InputError(std::max<size_t>(reading.line, 1), "no channels");
    }
    number_channels(reading);
    ReadPlaylist result{std::move(reading.channels), fault_remarks(reading.faults)};
    result.remarks.insert(result.remarks.end(), reading.remarks.begin(), reading.remarks.end());
    return result;
}

} // namespace sim
