/* SPDX-License-Identifier: MIT */
/* The channel list, its order, and the current channel. */
#ifndef TVLINK_SIM_CHANNELS_H
#define TVLINK_SIM_CHANNELS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "events.h"

namespace sim
{

struct Guide;
struct Television;

struct Channel {
    uint16_t number;
    std::string name;
    std::string group;
    std::string guide_id; /* the channel's id in the guide */
    std::string address;
};

const Channel &current_channel(const Television &tv);

/* "3 (Films)". */
std::string channel_words(const Channel &channel);

/* Moves by `step` channels in list order and wraps around at both ends. */
Outcome step_channel(Television &tv, int32_t step);
Outcome choose_channel(Television &tv, uint32_t number);

/* Kind 1 swaps the channels with these two numbers; kind 2 moves the first to the position of the
 * second. */
Outcome reorder_channels(Television &tv, uint16_t first, uint16_t second, int kind);

/* Other lists, of which the first must not be empty. The channel with the current one's number is
 * the current one, or the first when there is none. */
Outcome replace_lineup(Television &tv, std::vector<Channel> channels, Guide guide);

/* Adds one channel, up to a limit. */
Outcome search_channels(Television &tv);

/* The channels' numbers in order, two bytes each, little-endian. */
std::vector<uint8_t> channel_order(const Television &tv);

} // namespace sim

#endif
