/* SPDX-License-Identifier: MIT */
/* Programme guides in XML, perhaps compressed. The programmes of an accepted guide are sorted, the
 * control point can decode the lists that the simulator makes of them, and a lenient reading keeps
 * at least what a strict one keeps.
 *
 * Under test: tools/tvlink-sim/xmltv.cpp tools/tvlink-sim/xml_reader.cpp
 * tools/tvlink-sim/ampersands.cpp tools/tvlink-sim/text_blocks.cpp tools/tvlink-sim/unzip.cpp
 * tools/tvlink-sim/calendar.cpp tools/tvlink-sim/guide.cpp
 * tools/tvlink-sim/list_blocks.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "input_error.h"
#include "list_blocks.h"
#include "xmltv.h"

#include <algorithm>

using namespace sim;

static const std::vector<Channel> &known_channels()
{
    static const std::vector<Channel> channels = {{1, "News", "Information", "n", "http://a"},
                                                  {2, "Sport", "Sport", "s", "http://b"}};
    return channels;
}

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

static void check_own_channels(const std::vector<Channel> &channels)
{
    for (size_t i = 0; i < channels.size(); i++) {
        must(channels[i].number == i + 1, "channels are numbered in order");
        must(!channels[i].name.empty() && !channels[i].guide_id.empty(), "and have a name");
    }
}

/* How many programmes are kept; 0 when the guide is refused. */
static size_t count_kept(const std::string &text, Strictness strictness)
{
    try {
        const ReadGuide read =
            parse_guide(block_of(text), {&known_channels(), false, "", strictness});
        check_guide(read.guide);
        return count_programmes(read.guide);
    } catch (const InputError &error) {
        must(*error.what() != 0, "a refusal says why");
        return 0;
    }
}

static void check_guide_alone(const std::string &text)
{
    try {
        check_own_channels(
            parse_guide(block_of(text), {&known_channels(), true, "en", Strictness::LENIENT})
                .channels);
    } catch (const InputError &error) {
        must(*error.what() != 0, "a refusal says why");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const size_t strict = count_kept(text, Strictness::STRICT);
    must(count_kept(text, Strictness::LENIENT) >= strict, "a lenient reading keeps no less");
    check_guide_alone(text);
    return 0;
}
