/* SPDX-License-Identifier: MIT */
#include "xmltv.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include <rapidxml/rapidxml.hpp>

#include "calendar.h"
#include "input_error.h"
#include "printable.h"
#include "utf8.h"
#include "xml_depth.h"

namespace sim
{

namespace
{

using Node = rapidxml::xml_node<char>;

constexpr size_t max_depth = 64;
constexpr uint32_t half_an_hour = 1800;
constexpr uint32_t unknown_duration = 0; /* without stop, until complete_schedule() */

/* The parser works on a copy of the file with equal offsets, so that a node has a line number. */
struct GuideReading {
    const std::string *text;
    const char *copy;
    const std::unordered_set<std::string> *known; /* the guide_id of every channel */
    ReadGuide result;
    size_t kept = 0;
};

size_t line_at(const std::string &text, size_t offset)
{
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    return static_cast<size_t>(std::count(text.begin(), end, '\n')) + 1;
}

[[noreturn]] void fail_at(const GuideReading &reading, const Node *node, const std::string &reason)
{
    throw InputError(line_at(*reading.text, static_cast<size_t>(node->name() - reading.copy)),
                     reason);
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

std::string attribute(const Node *node, const char *name)
{
    const rapidxml::xml_attribute<char> *found = node->first_attribute(name);
    return found == nullptr ? "" : std::string(found->value(), found->value_size());
}

/* The text of the first element of this name, whether it is written plainly or as CDATA. */
std::string element(const GuideReading &reading, const Node *programme, const char *name)
{
    const Node *found = programme->first_node(name);
    if (found == nullptr) {
        return "";
    }
    std::string text;
    for (const Node *part = found->first_node(); part != nullptr; part = part->next_sibling()) {
        if (part->type() == rapidxml::node_data || part->type() == rapidxml::node_cdata) {
            text.append(part->value(), part->value_size());
        }
    }
    if (find_malformed(text) != std::string::npos) {
        fail_at(reading, found, std::string("a character that does not exist in ") + name);
    }
    return tidied(text);
}

uint32_t time_attribute(const GuideReading &reading, const Node *programme, const char *name)
{
    const std::string text = attribute(programme, name);
    const std::optional<int64_t> time = guide_time(text);
    if (!time || *time < 0 || *time > UINT32_MAX) {
        fail_at(reading, programme,
                std::string(name) + " is no time such as 20261121201500 +0100: " + quoted(text));
    }
    return static_cast<uint32_t>(*time);
}

Programme read_programme(const GuideReading &reading, const Node *node)
{
    Programme programme{time_attribute(reading, node, "start"), unknown_duration, "", "", ""};
    if (node->first_attribute("stop") != nullptr) {
        const uint32_t stop = time_attribute(reading, node, "stop");
        if (stop <= programme.start) {
            fail_at(reading, node, "a programme stops before it starts");
        }
        programme.duration = stop - programme.start;
    }
    programme.title = element(reading, node, "title");
    if (programme.title.empty()) {
        fail_at(reading, node, "a programme without a title");
    }
    programme.category = element(reading, node, "category");
    programme.description = element(reading, node, "desc");
    return programme;
}

void keep_programme(GuideReading &reading, const Node *node)
{
    const std::string channel = attribute(node, "channel");
    if (channel.empty()) {
        fail_at(reading, node, "a programme without a channel");
    }
    const Programme programme = read_programme(reading, node);
    if (reading.known->count(channel) == 0) {
        reading.result.of_other_channels++;
    } else if (reading.kept == max_programmes) {
        reading.result.left_out++;
    } else {
        reading.result.guide.schedules[channel].push_back(programme);
        reading.kept++;
    }
}

/* Sorts by start and fills in missing durations. */
void complete_schedule(Schedule &schedule)
{
    std::stable_sort(schedule.begin(), schedule.end(),
                     [](const Programme &a, const Programme &b) { return a.start < b.start; });
    for (size_t i = 0; i < schedule.size(); i++) {
        Programme &programme = schedule[i];
        if (programme.duration == unknown_duration) {
            programme.duration =
                i + 1 < schedule.size() ? schedule[i + 1].start - programme.start : half_an_hour;
        }
    }
}

void check_text(const std::string &text)
{
    const size_t zero = text.find('\0');
    const size_t bad = std::min(zero, find_malformed(text));
    if (bad != std::string::npos) {
        throw InputError(line_at(text, bad), "this is no UTF-8 text");
    }
    const size_t deep = find_too_deep(text, max_depth);
    if (deep != std::string::npos) {
        throw InputError(line_at(text, deep), "elements inside each other more than " +
                                                  std::to_string(max_depth) + " deep");
    }
}

void parse_document(rapidxml::xml_document<char> &document, const std::string &text,
                    std::vector<char> &copy)
{
    try {
        document.parse<rapidxml::parse_validate_closing_tags>(copy.data());
    } catch (const rapidxml::parse_error &error) {
        const size_t at = static_cast<size_t>(error.where<char>() - copy.data());
        throw InputError(line_at(text, at), std::string("this is no XML: ") + error.what());
    }
}

} // namespace

ReadGuide parse_guide(const std::string &text, const std::vector<Channel> &channels)
{
    check_text(text);
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    rapidxml::xml_document<char> document;
    parse_document(document, text, copy);
    const Node *root = document.first_node();
    if (root == nullptr || std::string(root->name(), root->name_size()) != "tv") {
        throw InputError(1, "a guide is one element <tv>");
    }
    std::unordered_set<std::string> known;
    for (const Channel &channel : channels) {
        known.insert(channel.guide_id);
    }
    known.erase("");
    GuideReading reading{&text, copy.data(), &known, {}, 0};
    for (const Node *node = root->first_node("programme"); node != nullptr;
         node = node->next_sibling("programme")) {
        keep_programme(reading, node);
    }
    for (auto &entry : reading.result.guide.schedules) {
        complete_schedule(entry.second);
    }
    return reading.result;
}

} // namespace sim
