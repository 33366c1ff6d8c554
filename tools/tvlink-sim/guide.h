/* SPDX-License-Identifier: MIT */
/* The programme guide: what each channel shows, and when. Times are Unix seconds. */
#ifndef TVLINK_SIM_GUIDE_H
#define TVLINK_SIM_GUIDE_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "channels.h"

namespace sim
{

struct Programme {
    uint32_t start;
    uint32_t duration; /* seconds */
    std::string title;
    std::string category;
    std::string description;
};

/* Sorted by start. */
using Schedule = std::vector<Programme>;

constexpr uint32_t seconds_a_day = 86400;
constexpr size_t max_programmes = 65535;

/* The schedules by Channel::guide_id. */
struct Guide {
    std::unordered_map<std::string, Schedule> schedules;
};

/* Empty when the guide does not contain the channel. */
const Schedule &schedule_of(const Guide &guide, const Channel &channel);

/* Start plus duration, which may exceed 32 bits. */
uint64_t end_of(const Programme &programme);

/* The programme that is on at this time, and the first one that starts later; null for none. */
const Programme *on_at(const Schedule &schedule, uint32_t when);
const Programme *next_after(const Schedule &schedule, uint32_t when);

size_t count_programmes(const Guide &guide);

/* Moves the guide by whole days so that its first day (UTC) becomes `day`, in days since the epoch.
 * Removes programmes whose start or end would not fit into 32 bits. */
void move_to_day(Guide &guide, uint32_t day);

} // namespace sim

#endif
