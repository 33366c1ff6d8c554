/* SPDX-License-Identifier: MIT */
/* Programme guides in XML. The programmes of an accepted guide are sorted, and the control point
 * can decode the lists that the simulator makes of them. The depth check agrees with the XML
 * parser.
 *
 * Under test: tools/tvlink-sim/xmltv.cpp tools/tvlink-sim/xml_depth.cpp
 * tools/tvlink-sim/calendar.cpp tools/tvlink-sim/guide.cpp tools/tvlink-sim/list_blocks.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "input_error.h"
#include "list_blocks.h"
#include "xml_depth.h"
#include "xmltv.h"

#include <algorithm>

#include <rapidxml/rapidxml.hpp>

using namespace sim;

static const size_t MAX_NESTED = 4096; /* bytes; the recursive parser could overflow the stack */

static const std::vector<Channel> &known_channels()
{
    static const std::vector<Channel> channels = {{1, "News", "Information", "n", "http://a"},
                                                  {2, "Sport", "Sport", "s", "http://b"}};
    return channels;
}

/* ---- Depth */

/* An element without content may be a single tag, which adds no level. */
static size_t depth_below(const rapidxml::xml_node<char> *node)
{
    size_t deepest = 0;
    for (const auto *child = node->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) {
            deepest = std::max(deepest, 1 + depth_below(child));
        }
    }
    return deepest;
}

static void check_depth(const std::string &text)
{
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    rapidxml::xml_document<char> document;
    try {
        document.parse<rapidxml::parse_validate_closing_tags>(copy.data());
    } catch (const rapidxml::parse_error &) {
        return;
    }
    const size_t depth = depth_below(&document);
    must(depth < 2 || find_too_deep(text, depth - 2) != std::string::npos,
         "what is too deep is seen before it is read");
    must(find_too_deep(text, depth) == std::string::npos, "what is not too deep is not refused");
}

/* ---- Programmes */

static void check_schedule(const Schedule &schedule)
{
    must(std::is_sorted(schedule.begin(), schedule.end(),
                        [](const Programme &a, const Programme &b) { return a.start < b.start; }),
         "programmes are in the order of their start");
    for (const Programme &programme : schedule) {
        must(!programme.title.empty(), "a programme has a title");
    }
}

static void check_list(const ListBlock &block)
{
    CpBytes rest = {reinterpret_cast<const uint8_t *>(block.bytes.data()), block.bytes.size()};
    CpGuideEntry entry = {};
    for (uint32_t i = 0; i < block.entries; i++) {
        must(cp_take_guide_entry(&rest, &entry) == CP_OK, "each entry can be read");
        must(entry.channel == 1 || entry.channel == 2, "and is of a channel that there is");
    }
    must(rest.size == 0, "and there is nothing else");
}

static void check_guide(const Guide &guide)
{
    for (const auto &schedule : guide.schedules) {
        check_schedule(schedule.second);
    }
    const ListBlock all = guide_entries(known_channels(), guide, {});
    check_list(all);
    check_list(matching_entries(known_channels(), guide, "e"));
    for (const auto &schedule : guide.schedules) {
        check_list(present_entries(known_channels(), guide, schedule.second.front().start));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    if (text.size() <= MAX_NESTED && text.find('\0') == std::string::npos) {
        check_depth(text);
    }
    try {
        check_guide(parse_guide(text, known_channels()).guide);
    } catch (const InputError &error) {
        must(*error.what() != 0, "a refusal says why");
    }
    return 0;
}
