/* SPDX-License-Identifier: MIT */
/* Playlists. The channels of an accepted playlist have unique numbers, and the control point can
 * decode the lists that the simulator makes of them. What a strict reading accepts a lenient one
 * accepts, too.
 *
 * Under test: tools/tvlink-sim/playlist.cpp tools/tvlink-sim/extinf.cpp
 * tools/tvlink-sim/text_blocks.cpp tools/tvlink-sim/unzip.cpp tools/tvlink-sim/list_blocks.cpp
 * tools/common/utf8.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "input_error.h"
#include "list_blocks.h"
#include "playlist.h"
#include "utf8.h"

#include <algorithm>
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

static bool is_control(char letter)
{
    return static_cast<uint8_t>(letter) < 0x20 && letter != '\t' && letter != '\r' &&
           letter != '\n';
}

/* How many channels there are; 0 when the playlist is refused. */
static size_t count_channels(const std::string &text, Strictness strictness)
{
    try {
        const ReadPlaylist read = parse_playlist(block_of(text), strictness);
        check_channels(read.channels);
        for (const std::string &remark : read.remarks) {
            must(find_malformed(remark) == std::string::npos, "a remark can be printed");
        }
        return read.channels.size();
    } catch (const InputError &error) {
        must(*error.what() != 0, "a refusal says why");
        return 0;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const size_t strict = count_channels(text, Strictness::STRICT);
    const size_t lenient = count_channels(text, Strictness::LENIENT);
    /* A lenient reading takes control characters for blanks, of which no address is made. */
    const bool controls = std::any_of(text.begin(), text.end(), is_control);
    must(strict == 0 || controls || strict == lenient,
         "without faults both readings find the same channels");
    return 0;
}
