/* SPDX-License-Identifier: MIT */
/* Playlists. The channels of an accepted playlist have unique numbers, and the control point can
 * decode the lists that the simulator makes of them.
 *
 * Under test: tools/tvlink-sim/playlist.cpp tools/tvlink-sim/list_blocks.cpp
 * tools/common/utf8.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "input_error.h"
#include "list_blocks.h"
#include "playlist.h"
#include "utf8.h"

#include <set>

using namespace sim;

static CpBytes bytes_of(const ListBlock &block)
{
    return {reinterpret_cast<const uint8_t *>(block.bytes.data()), block.bytes.size()};
}

static void must_be_prefix(CpBytes part, const std::string &of)
{
    const std::string text(reinterpret_cast<const char *>(part.data), part.size);
    must(of.compare(0, text.size(), text) == 0, "a list has the beginning of a text");
    must(find_malformed(text) == std::string::npos, "cut where a character ends");
}

static void check_cells(const std::vector<Channel> &channels)
{
    const ListBlock block = channel_cells(channels, "");
    CpBytes rest = bytes_of(block);
    for (const Channel &channel : channels) {
        CpChannel cell = {};
        must(cp_take_channel(&rest, &cell) == CP_OK && cell.number == channel.number,
             "each channel has its cell");
        must_be_prefix(cell.name, channel.name);
        must_be_prefix(cell.group, channel.group);
        must_be_prefix(cell.address, channel.address);
    }
    must(rest.size == 0 && block.entries == channels.size(), "and there is nothing else");
}

static void check_short_channels(const std::vector<Channel> &channels)
{
    const ListBlock block = short_channels(channels);
    CpBytes rest = bytes_of(block);
    for (const Channel &channel : channels) {
        CpChannel entry = {};
        must(cp_take_short_channel(&rest, &entry) == CP_OK && entry.number == channel.number,
             "each channel has its short entry");
        must_be_prefix(entry.name, channel.name);
    }
    must(rest.size == 0 && block.entries == channels.size(), "and there is nothing else");
}

static void check_channels(const std::vector<Channel> &channels)
{
    std::set<uint16_t> numbers;
    for (const Channel &channel : channels) {
        must(channel.number != 0 && numbers.insert(channel.number).second,
             "a channel has a number of its own");
        must(!channel.name.empty() && !channel.address.empty(), "a channel has name and address");
    }
    must(!channels.empty(), "a playlist has a channel");
    check_cells(channels);
    check_short_channels(channels);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    try {
        check_channels(parse_playlist(text));
    } catch (const InputError &error) {
        must(*error.what() != 0, "a refusal says why");
    }
    return 0;
}
