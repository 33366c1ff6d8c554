#include "list_blocks.h"

#include <algorithm>

#include "bytes.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t name_size = 64;
constexpr size_t group_size = 32;
constexpr size_t guide_id_size = 32;
constexpr size_t address_size = 124;
constexpr size_t max_short_name = 255;
constexpr size_t max_title = 255;
constexpr size_t max_description = 1000;

enum class Details : uint8_t { NONE, DESCRIPTION };

/* False when there is no room left. */
bool append_entry(ListBlock &block, const std::string &entry)
{
    if (block.entries == max_entries || block.bytes.size() + entry.size() > max_list_bytes) {
        return false;
    }
    block.bytes += entry;
    block.entries++;
    return true;
}

std::string channel_cell(const Channel &channel)
{
    std::string cell;
    append_u16(cell, channel.number);
    append_u16(cell, 0);
    append_field(cell, channel.name, name_size);
    append_field(cell, channel.group, group_size);
    append_field(cell, channel.guide_id, guide_id_size);
    append_field(cell, channel.address, address_size);
    return cell;
}

std::string guide_entry(const Channel &channel, const Programme &programme, Details details)
{
    std::string rest;
    append_u16(rest, channel.number);
    append_u32(rest, programme.start);
    append_u32(rest, programme.duration);
    append_text(rest, programme.title, max_title);
    append_text(rest, programme.category, max_title);
    append_text(rest, programme.description, details == Details::DESCRIPTION ? max_description : 0);
    std::string entry;
    append_u16(entry, static_cast<uint16_t>(sizeof(uint16_t) + rest.size()));
    return entry + rest;
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

/* False when there is no room left. */
bool append_chosen(ListBlock &block, const Channel &channel, const Chosen &chosen, Details details)
{
    const uint32_t before = block.entries;
    const bool fits = std::all_of(chosen.begin(), chosen.end(), [&](const Programme *programme) {
        return append_entry(block, guide_entry(channel, *programme, details));
    });
    block.channels += block.entries > before ? 1 : 0;
    return fits;
}

/* The list of the programmes that `choose_from` returns for each channel and its schedule. */
template <typename Choose>
ListBlock chosen_entries(const std::vector<Channel> &channels, const Guide &guide, Details details,
                         const Choose &choose_from)
{
    ListBlock block;
    for (const Channel &channel : channels) {
        const Chosen chosen = choose_from(channel, schedule_of(guide, channel));
        if (!append_chosen(block, channel, chosen, details)) {
            break;
        }
    }
    return block;
}

} // namespace

ListBlock channel_cells(const std::vector<Channel> &channels, const std::string &text)
{
    ListBlock block;
    for (const Channel &channel : channels) {
        if ((holds(channel.name, text) || holds(channel.group, text)) &&
            !append_entry(block, channel_cell(channel))) {
            break;
        }
    }
    block.channels = block.entries;
    return block;
}

ListBlock short_channels(const std::vector<Channel> &channels)
{
    ListBlock block;
    for (const Channel &channel : channels) {
        const std::string name = cut_text(channel.name, max_short_name);
        std::string entry;
        append_u16(entry, channel.number);
        append_u8(entry, static_cast<uint8_t>(name.size()));
        if (!append_entry(block, entry + name)) {
            break;
        }
    }
    block.channels = block.entries;
    return block;
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

ListBlock present_entries(const std::vector<Channel> &channels, const Guide &guide, uint32_t now)
{
    return chosen_entries(
        channels, guide, Details::NONE, [=](const Channel &, const Schedule &schedule) {
            Chosen chosen = {on_at(schedule, now), next_after(schedule, now)};
            chosen.erase(std::remove(chosen.begin(), chosen.end(), nullptr), chosen.end());
            return chosen;
        });
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
