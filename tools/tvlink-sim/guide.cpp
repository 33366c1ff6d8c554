/* SPDX-License-Identifier: MIT */
#include "guide.h"

#include <algorithm>

namespace sim
{

namespace
{

Schedule::const_iterator first_later(const Schedule &schedule, uint32_t when)
{
    return std::upper_bound(
        schedule.begin(), schedule.end(), when,
        [](uint32_t time, const Programme &programme) { return time < programme.start; });
}

uint32_t first_start(const Guide &guide)
{
    uint32_t first = UINT32_MAX;
    for (const auto &entry : guide.schedules) {
        if (!entry.second.empty()) {
            first = std::min(first, entry.second.front().start);
        }
    }
    return first;
}

void move_schedule(Schedule &schedule, int64_t seconds)
{
    Schedule moved;
    for (Programme &programme : schedule) {
        const int64_t start = programme.start + seconds;
        if (start >= 0 && start + programme.duration <= UINT32_MAX) {
            programme.start = static_cast<uint32_t>(start);
            moved.push_back(std::move(programme));
        }
    }
    schedule = std::move(moved);
}

} // namespace

const Schedule &schedule_of(const Guide &guide, const Channel &channel)
{
    static const Schedule &nothing = *new Schedule;
    const auto found = guide.schedules.find(channel.guide_id);
    return found == guide.schedules.end() ? nothing : found->second;
}

uint64_t end_of(const Programme &programme)
{
    return uint64_t{programme.start} + programme.duration;
}

const Programme *on_at(const Schedule &schedule, uint32_t when)
{
    const auto later = first_later(schedule, when);
    if (later == schedule.begin()) {
        return nullptr;
    }
    const Programme &latest = *(later - 1);
    return end_of(latest) > when ? &latest : nullptr;
}

const Programme *next_after(const Schedule &schedule, uint32_t when)
{
    const auto later = first_later(schedule, when);
    return later == schedule.end() ? nullptr : &*later;
}

size_t count_programmes(const Guide &guide)
{
    size_t count = 0;
    for (const auto &entry : guide.schedules) {
        count += entry.second.size();
    }
    return count;
}

void move_to_day(Guide &guide, uint32_t day)
{
    const int64_t first_day = first_start(guide) / seconds_a_day;
    const int64_t seconds = (int64_t{day} - first_day) * seconds_a_day;
    for (auto &entry : guide.schedules) {
        move_schedule(entry.second, seconds);
    }
}

} // namespace sim
