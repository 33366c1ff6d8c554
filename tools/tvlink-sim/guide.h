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

/* In the order of their start. */
using Schedule = std::vector<Programme>;

constexpr uint32_t seconds_a_day = 86400;
constexpr size_t max_programmes = 65535;

/* The schedules by the guide's names for the channels. */
struct Guide {
    std::unordered_map<std::string, Schedule> schedules;
};

/* Empty when the guide does not know the channel. */
const Schedule &schedule_of(const Guide &guide, const Channel &channel);

/* Starts plus duration, which may be beyond 32 bits. */
uint64_t end_of(const Programme &programme);

/* What is on at this time, and what comes next; null for nothing. */
const Programme *on_at(const Schedule &schedule, uint32_t when);
const Programme *next_after(const Schedule &schedule, uint32_t when);

size_t count_programmes(const Guide &guide);

/* Moves the whole guide by whole days, so that the first one (UTC) is this day, in days since the
 * epoch. Programmes that would end beyond the calendar of 32 bits are taken out. */
void move_to_day(Guide &guide, uint32_t day);

} // namespace sim

#endif
