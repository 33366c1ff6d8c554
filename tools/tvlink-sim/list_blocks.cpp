/* SPDX-License-Identifier: MIT */
#include "list_blocks.h"

#include <algorithm>

#include "tvlink/host/lists.h"

#include "utf8.h"

namespace sim
{

namespace
{

enum class Details : uint8_t { NONE, DESCRIPTION };

/* Ends the list. */
ListBlock finished(IppList &list)
{
    ListBlock block;
    block.entries = list.entries;
    block.channels = list.channels;
    if (list.size > 0) {
        block.bytes.assign(static_cast<const char *>(list.block), list.size);
    }
    ipp_list_clear(&list);
    return block;
}

/* False when there is no room left. */
bool append_cell(IppList &list, const Channel &channel)
{
    const IppChannel cell = {channel.number, channel.name.c_str(), channel.group.c_str(),
                             channel.guide_id.c_str(), channel.address.c_str()};
    return ipp_list_add_channel(&list, &cell) == 1;
}

bool append_entry(IppList &list, const Channel &channel, const Programme &programme,
                  Details details)
{
    const bool described = details == Details::DESCRIPTION;
    const IppProgramme entry = {channel.number,
                                programme.start,
                                programme.duration,
                                programme.title.c_str(),
                                programme.category.c_str(),
                                described ? programme.description.c_str() : nullptr};
    return ipp_list_add_programme(&list, &entry) == 1;
}

bool matches(const GuideQuery &query, const Programme &programme)
{
    return end_of(programme) > query.ends_after && programme.start >= query.starts_from &&
           programme.start < query.starts_until;
}

using Chosen = std::vector<const Programme *>;

template <typename Wanted> Chosen choose(const Schedule &schedule, const Wanted &wanted)
{
    Chosen chosen;
    for (const Programme &programme : schedule) {
        if (wanted(programme)) {
            chosen.push_back(&programme);
        }
    }
    return chosen;
}

/* The list of the programmes that `choose_from` returns for each channel and its schedule. */
template <typename Choose>
IppList chosen_list(const std::vector<Channel> &channels, const Guide &guide, Details details,
                    const Choose &choose_from)
{
    IppList list = IPP_LIST_EMPTY;
    for (const Channel &channel : channels) {
        for (const Programme *programme : choose_from(channel, schedule_of(guide, channel))) {
            if (!append_entry(list, channel, *programme, details)) {
                return list;
            }
        }
    }
    return list;
}

template <typename Choose>
ListBlock chosen_entries(const std::vector<Channel> &channels, const Guide &guide, Details details,
                         const Choose &choose_from)
{
    IppList list = chosen_list(channels, guide, details, choose_from);
    return finished(list);
}

} // namespace

ListBlock channel_cells(const std::vector<Channel> &channels, const std::string &text)
{
    IppList list = IPP_LIST_EMPTY;
    for (const Channel &channel : channels) {
        if ((holds(channel.name, text) || holds(channel.group, text)) &&
            !append_cell(list, channel)) {
            break;
        }
    }
    return finished(list);
}

ListBlock short_channels(const std::vector<Channel> &channels)
{
    IppList list = IPP_LIST_EMPTY;
    for (const Channel &channel : channels) {
        if (ipp_list_add_short_channel(&list, channel.number, channel.name.c_str()) != 1) {
            break;
        }
    }
    return finished(list);
}

ListBlock guide_entries(const std::vector<Channel> &channels, const Guide &guide,
                        const GuideQuery &query)
{
    return chosen_entries(channels, guide, Details::DESCRIPTION,
                          [&](const Channel &channel, const Schedule &schedule) {
                              const bool asked =
                                  query.every_channel || channel.number == query.number;
                              return asked ? choose(schedule,
                                                    [&](const Programme &programme) {
                                                        return matches(query, programme);
                                                    })
                                           : Chosen();
                          });
}

IppList present_list(const std::vector<Channel> &channels, const Guide &guide, uint32_t now)
{
    return chosen_list(
        channels, guide, Details::NONE, [=](const Channel &, const Schedule &schedule) {
            Chosen chosen = {on_at(schedule, now), next_after(schedule, now)};
            chosen.erase(std::remove(chosen.begin(), chosen.end(), nullptr), chosen.end());
            return chosen;
        });
}

ListBlock present_entries(const std::vector<Channel> &channels, const Guide &guide, uint32_t now)
{
    IppList list = present_list(channels, guide, now);
    return finished(list);
}

ListBlock matching_entries(const std::vector<Channel> &channels, const Guide &guide,
                           const std::string &text)
{
    return chosen_entries(
        channels, guide, Details::NONE, [&](const Channel &, const Schedule &schedule) {
            return choose(schedule, [&](const Programme &programme) {
                return holds(programme.title, text) || holds(programme.category, text);
            });
        });
}

GuideQuery week_query(uint32_t number, uint32_t now)
{
    constexpr uint64_t week = uint64_t{7} * seconds_a_day;
    GuideQuery query;
    query.every_channel = number == 0;
    query.number = number;
    query.starts_from = now - now % seconds_a_day;
    query.starts_until = query.starts_from + week;
    return query;
}

} // namespace sim
