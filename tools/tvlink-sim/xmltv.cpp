/* SPDX-License-Identifier: MIT */
#include "xmltv.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_set>

#include "calendar.h"
#include "input_error.h"
#include "printable.h"
#include "utf8.h"
#include "xml_reader.h"

namespace sim
{

namespace
{

constexpr uint32_t half_an_hour = 1800;
constexpr uint32_t unknown_duration = 0; /* without stop, until complete_schedule() */
constexpr size_t max_raw_text = 65536;   /* bytes of a text that are looked at */
constexpr size_t max_short_text = 255;   /* bytes of a title or a category in a list */
constexpr size_t max_description = 1000;
constexpr size_t max_guide_channels = 65535;
const char *const not_a_guide = "a guide is one element <tv>";

const FaultKind nameless_channel = {"channel skipped", "channels skipped", "without an id"};
const FaultKind repeated_channel = {"channel skipped", "channels skipped",
                                    "its id is there already"};
const FaultKind too_many_channels = {"channel skipped", "channels skipped",
                                     "there are more than 65535"};
const FaultKind no_channel = {"programme skipped", "programmes skipped", "without a channel"};
const FaultKind no_start = {"programme skipped", "programmes skipped",
                            "start is no time such as 20261121201500 +0100"};
const FaultKind no_stop = {"programme ends when the next one starts",
                           "programmes end when the next one starts",
                           "stop is no time such as 20261121201500 +0100"};
const FaultKind early_stop = {"programme skipped", "programmes skipped", "ends before it starts"};
const FaultKind no_title = {"programme skipped", "programmes skipped", "without a title"};
const FaultKind overlapping = {"programme shortened", "programmes shortened",
                               "the next one on the channel starts before its end"};

/* How well a text suits the wanted language. */
enum class Match : uint8_t { NONE, ANY_LANGUAGE, LANGUAGE };

/* The best of the elements of one name so far. */
struct GuideText {
    std::string text;
    Match match = Match::NONE;
};

enum class Inside : uint8_t { NOTHING, CHANNEL, PROGRAMME };

/* The channel or programme that is being read. */
struct GuideEntry {
    Inside inside = Inside::NOTHING;
    size_t line = 0;
    std::string channel; /* its id */
    std::string start;
    std::optional<std::string> stop;
    GuideText title; /* or the channel's display-name */
    GuideText category;
    GuideText description;
};

struct GuideReading {
    const GuideWishes *wishes;
    Faults faults;
    std::unordered_set<std::string> known; /* the guide_id of every channel */
    ReadGuide result;
    size_t kept = 0;
    bool begun = false; /* the root has been seen */
    size_t line = 1;    /* of the latest tag */
    GuideEntry entry;
    GuideText *collecting = nullptr; /* the element whose text comes, of `entry` */
    Match match = Match::NONE;       /* of that element */
    std::string raw;                 /* its text up to here */
};

bool is_strict(const GuideReading &reading)
{
    return reading.wishes->strictness == Strictness::STRICT;
}

/* Each run of blanks, line ends and control characters becomes one blank; both ends are trimmed. */
std::string tidied(const std::string &text)
{
    std::string tidy;
    for (const char letter : text) {
        const uint8_t byte = static_cast<uint8_t>(letter);
        const bool blank = byte <= 0x20 || byte == 0x7F;
        if (!blank) {
            tidy.push_back(letter);
        } else if (!tidy.empty() && tidy.back() != ' ') {
            tidy.push_back(' ');
        }
    }
    if (!tidy.empty() && tidy.back() == ' ') {
        tidy.pop_back();
    }
    return tidy;
}

std::string attribute_text(const XmlElement &element, const char *name)
{
    const char *value = xml_attribute(element, name);
    return value == nullptr ? "" : value;
}

/* ---- Channels */

/* The guide has channels of its own: those given for a guide without channels do not count. */
void take_own_channels(GuideReading &reading)
{
    if (reading.result.channels.empty()) {
        reading.known.clear();
    }
}

void end_channel(GuideReading &reading)
{
    const GuideEntry &entry = reading.entry;
    if (!reading.wishes->own_channels) {
        return;
    }
    if (entry.channel.empty()) {
        note_fault(reading.faults, nameless_channel, entry.line, "a channel without an id");
        return;
    }
    if (reading.result.channels.size() == max_guide_channels) {
        note_fault(reading.faults, too_many_channels, entry.line, "too many channels");
        return;
    }
    take_own_channels(reading);
    if (!reading.known.insert(entry.channel).second) {
        note_fault(reading.faults, repeated_channel, entry.line,
                   "channel " + tools::quoted(entry.channel) + " is there already");
        return;
    }
    const uint16_t number = static_cast<uint16_t>(reading.result.channels.size() + 1);
    const std::string &name = entry.title.text.empty() ? entry.channel : entry.title.text;
    reading.result.channels.push_back({number, name, "", entry.channel, ""});
}

/* ---- Programmes */

std::optional<uint32_t> time_of(const std::string &text)
{
    const std::optional<int64_t> time = guide_time(text);
    return time && *time >= 0 && *time <= UINT32_MAX
               ? std::optional<uint32_t>(static_cast<uint32_t>(*time))
               : std::nullopt;
}

/* Empty, and the fault noted, when the text is no time. */
std::optional<uint32_t> checked_time(GuideReading &reading, const char *name,
                                     const std::string &text, const FaultKind &fault)
{
    const std::optional<uint32_t> time = time_of(text);
    if (!time) {
        note_fault(reading.faults, fault, reading.entry.line,
                   std::string(name) +
                       " is no time such as 20261121201500 +0100: " + tools::quoted(text));
    }
    return time;
}

std::string fitting(const std::string &text, size_t max, size_t &cut)
{
    cut += text.size() > max ? 1 : 0;
    return tools::cut_text(text, max);
}

/* The programme that has been read, without its texts; empty, and the fault noted, when it cannot
 * be used. */
std::optional<Programme> usable_programme(GuideReading &reading)
{
    const GuideEntry &entry = reading.entry;
    if (entry.channel.empty()) {
        note_fault(reading.faults, no_channel, entry.line, "a programme without a channel");
        return std::nullopt;
    }
    const std::optional<uint32_t> start = checked_time(reading, "start", entry.start, no_start);
    if (!start) {
        return std::nullopt;
    }
    const std::optional<uint32_t> stop =
        entry.stop ? checked_time(reading, "stop", *entry.stop, no_stop) : std::nullopt;
    if (stop && *stop <= *start) {
        note_fault(reading.faults, early_stop, entry.line, "a programme stops before it starts");
        return std::nullopt;
    }
    if (entry.title.text.empty()) {
        note_fault(reading.faults, no_title, entry.line, "a programme without a title");
        return std::nullopt;
    }
    return Programme{*start, stop ? *stop - *start : unknown_duration, "", "", ""};
}

void end_programme(GuideReading &reading)
{
    std::optional<Programme> programme = usable_programme(reading);
    if (!programme) {
        return;
    }
    const GuideEntry &entry = reading.entry;
    if (reading.known.count(entry.channel) == 0) {
        reading.result.of_other_channels++;
    } else if (reading.kept == max_programmes) {
        reading.result.left_out++;
    } else {
        CutTexts &cut = reading.result.cut;
        programme->title = fitting(entry.title.text, max_short_text, cut.titles);
        programme->category = fitting(entry.category.text, max_short_text, cut.categories);
        programme->description = fitting(entry.description.text, max_description, cut.descriptions);
        reading.result.guide.schedules[entry.channel].push_back(std::move(*programme));
        reading.kept++;
    }
}

/* Sets the end of a programme when it is unknown, or when the next one starts before. `next` is
 * the start of the first one that starts later. */
void complete_programme(Programme &programme, const std::optional<uint32_t> &next, Faults &faults)
{
    if (programme.duration == unknown_duration) {
        programme.duration = next ? *next - programme.start : half_an_hour;
    } else if (next && end_of(programme) > *next && faults.strictness == Strictness::LENIENT) {
        programme.duration = *next - programme.start;
        count_fault(faults, overlapping, 0);
    }
}

/* Sorts by start and completes the durations. */
void complete_schedule(Schedule &schedule, Faults &faults)
{
    std::stable_sort(schedule.begin(), schedule.end(),
                     [](const Programme &a, const Programme &b) { return a.start < b.start; });
    std::optional<uint32_t> next;
    for (size_t i = schedule.size(); i-- > 0;) {
        if (i + 1 < schedule.size() && schedule[i + 1].start > schedule[i].start) {
            next = schedule[i + 1].start;
        }
        complete_programme(schedule[i], next, faults);
    }
    schedule.shrink_to_fit();
}

/* ---- Elements */

Match match_of(const GuideReading &reading, const XmlElement &element)
{
    const std::string &wanted = reading.wishes->language;
    const std::string language = attribute_text(element, "lang");
    const bool longer = language.size() > wanted.size();
    const bool same = tools::equal_words(language.substr(0, wanted.size()), wanted) &&
                      (!longer || language[wanted.size()] == '-' || language[wanted.size()] == '_');
    return same && !wanted.empty() ? Match::LANGUAGE : Match::ANY_LANGUAGE;
}

/* Where the text of this element goes; null when it does not count. */
GuideText *text_for(GuideEntry &entry, const std::string &name)
{
    if (entry.inside == Inside::CHANNEL) {
        return name == "display-name" ? &entry.title : nullptr;
    }
    return name == "title"      ? &entry.title
           : name == "category" ? &entry.category
           : name == "desc"     ? &entry.description
                                : nullptr;
}

void begin_entry(GuideReading &reading, const XmlElement &element)
{
    GuideEntry entry;
    entry.line = element.line;
    if (strcmp(element.name, "programme") == 0) {
        entry.inside = Inside::PROGRAMME;
        entry.channel = attribute_text(element, "channel");
        entry.start = attribute_text(element, "start");
        const char *stop = xml_attribute(element, "stop");
        entry.stop = stop == nullptr ? std::nullopt : std::optional<std::string>(stop);
    } else if (strcmp(element.name, "channel") == 0) {
        entry.inside = Inside::CHANNEL;
        entry.channel = attribute_text(element, "id");
    }
    reading.entry = std::move(entry);
}

void begin_guide_element(GuideReading &reading, const XmlElement &element)
{
    reading.line = element.line;
    if (element.depth == 1) {
        if (strcmp(element.name, "tv") != 0) {
            throw InputError(1, not_a_guide);
        }
        reading.begun = true;
    } else if (element.depth == 2) {
        begin_entry(reading, element);
    } else if (element.depth == 3 && reading.entry.inside != Inside::NOTHING) {
        reading.collecting = text_for(reading.entry, element.name);
        reading.match = match_of(reading, element);
        reading.raw.clear();
    }
}

void end_text(GuideReading &reading)
{
    if (reading.collecting != nullptr && reading.match > reading.collecting->match) {
        const std::string text = tidied(reading.raw);
        if (!text.empty()) {
            *reading.collecting = {text, reading.match};
        }
    }
    reading.collecting = nullptr;
}

void end_entry(GuideReading &reading)
{
    if (reading.entry.inside == Inside::PROGRAMME) {
        end_programme(reading);
    } else if (reading.entry.inside == Inside::CHANNEL) {
        end_channel(reading);
    }
    reading.entry.inside = Inside::NOTHING;
}

void end_guide_element(GuideReading &reading, const XmlElement &element)
{
    if (element.depth == 3) {
        end_text(reading);
    } else if (element.depth == 2) {
        end_entry(reading);
    }
}

void take_guide_text(GuideReading &reading, const char *text, size_t size, size_t depth)
{
    if (depth == 3 && reading.collecting != nullptr && reading.raw.size() < max_raw_text) {
        reading.raw.append(text, size);
    }
}

/* ---- The whole guide */

void read_guide(GuideReading &reading, const ReadBlock &read)
{
    try {
        read_xml(read, reading.faults,
                 {[&](const XmlElement &element) { begin_guide_element(reading, element); },
                  [&](const XmlElement &element) { end_guide_element(reading, element); },
                  [&](const char *text, size_t size, size_t depth) {
                      take_guide_text(reading, text, size, depth);
                  }});
    } catch (const InputError &error) {
        if (!reading.begun && strcmp(error.what(), "this is no XML: no element found") == 0) {
            throw InputError(1, not_a_guide);
        }
        const ReadGuide &result = reading.result;
        const bool empty =
            reading.kept == 0 && result.of_other_channels == 0 && result.channels.empty();
        if (is_strict(reading) || empty) {
            throw;
        }
        const size_t line = error.line == 0 ? reading.line : error.line;
        reading.result.remarks.push_back("the rest of the file from line " + std::to_string(line) +
                                         " on is left out: " + error.what());
    }
}

} // namespace

ReadGuide parse_guide(const ReadBlock &read, const GuideWishes &wishes)
{
    GuideReading reading;
    reading.wishes = &wishes;
    reading.faults.strictness = wishes.strictness;
    for (const Channel &channel : *wishes.channels) {
        reading.known.insert(channel.guide_id);
    }
    reading.known.erase("");
    read_guide(reading, read);
    for (auto &entry : reading.result.guide.schedules) {
        complete_schedule(entry.second, reading.faults);
    }
    const std::vector<std::string> faults = fault_remarks(reading.faults);
    reading.result.remarks.insert(reading.result.remarks.begin(), faults.begin(), faults.end());
    return std::move(reading.result);
}

} // namespace sim
