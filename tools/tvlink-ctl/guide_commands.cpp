/* The programme guide and the channels. */
#include "arguments.h"
#include "commands.h"
#include "list_reader.h"
#include "output.h"
#include "times.h"

#include <map>

namespace ctl
{
namespace
{

using ChannelNames = std::map<uint16_t, std::string>;

uint32_t start_of(const GuideOptions &options)
{
    return options.from.empty() ? 0 : parse_time(options.from, time(nullptr));
}

void build_request(const GuideOptions &options, CpBuffer *request)
{
    const bool one_channel = !options.channel.empty();
    const uint32_t channel = one_channel ? parse_number(options.channel, UINT16_MAX) : 0;
    const uint32_t from = start_of(options);
    CpStatus status = CP_OK;
    if (options.search_given) {
        status = cp_build_text_get(request, CP_CODE_GUIDE_SEARCH, bytes_of(options.search));
    } else if (options.week) {
        status = cp_build_guide_week(request, channel);
    } else if (one_channel) {
        status = cp_build_channel_guide(request, channel, from);
    } else if (options.all || !options.from.empty()) {
        status = cp_build_guide(request, from);
    } else {
        status = cp_build_get(request, CP_CODE_GUIDE_NOW, nullptr, 0);
    }
    require_built(status, text_hint);
}

/* A guide without the names of its channels is still one: whatever keeps them away is no failure.
 */
ChannelNames ask_names(const Session &session)
{
    ChannelNames names;
    Request request;
    require_built(cp_build_get(&request.buffer, CP_CODE_CHANNELS_SHORT, nullptr, 0), "");
    CpFrame frame = {};
    Entries entries;
    if (cp_request(session.connection, CP_FRAME_GET, &request.buffer, &frame, session.timeout_ms) ==
            CP_OK &&
        read_list(frame.payload, &entries) == CP_OK) {
        for (const CpChannel &channel : entries.channels) {
            names[channel.number] = text_of(channel.name);
        }
    }
    return names;
}

std::string name_of(const ChannelNames &names, uint16_t channel)
{
    const auto found = names.find(channel);
    return found == names.end() ? "" : found->second;
}

Facts programme_facts(const CpGuideEntry &programme, const ChannelNames &names)
{
    Facts facts = {{"channel", int64_t{programme.channel}}};
    const std::string name = name_of(names, programme.channel);
    if (!name.empty()) {
        add_text(facts, "channel_name", bytes_of(name));
    }
    add_number(facts, "start", programme.start);
    add_number(facts, "duration", programme.duration);
    add_text(facts, "title", programme.title);
    add_text(facts, "category", programme.category);
    add_text(facts, "description", programme.description);
    return facts;
}

void print_guide(const Settings &settings, const GuideOptions &options, const Entries &entries,
                 const ChannelNames &names)
{
    Table table = {
        {{"NO", true}, {"CHANNEL"}, {"BEGINS"}, {"ENDS"}, {"TITLE"}, {"CATEGORY"}}, {}, {}};
    std::vector<Facts> programmes;
    for (const CpGuideEntry &programme : entries.programmes) {
        const uint64_t end = uint64_t{programme.start} + programme.duration;
        table.rows.push_back({std::to_string(programme.channel),
                              printable(name_of(names, programme.channel)),
                              day_and_time(programme.start), time_of_day(end),
                              printable(programme.title), printable(programme.category)});
        table.notes.push_back(options.descriptions ? printable(programme.description) : "");
        programmes.push_back(programme_facts(programme, names));
    }
    print_list(settings, table, "programmes", programmes);
}

void print_channels(const Settings &settings, const Entries &entries)
{
    Table table = {{{"NO", true}, {"NAME"}, {"GROUP"}, {"GUIDE ID"}, {"ADDRESS"}}, {}, {}};
    std::vector<Facts> channels;
    for (const CpChannel &channel : entries.channels) {
        table.rows.push_back({std::to_string(channel.number), printable(channel.name),
                              printable(channel.group), printable(channel.guide_id),
                              printable(channel.address)});
        Facts facts = {{"number", int64_t{channel.number}}};
        add_text(facts, "name", channel.name);
        add_text(facts, "group", channel.group);
        add_text(facts, "guide_id", channel.guide_id);
        add_text(facts, "address", channel.address);
        channels.push_back(facts);
    }
    print_list(settings, table, "channels", channels);
}

void print_short_channels(const Settings &settings, const Entries &entries)
{
    Table table = {{{"NO", true}, {"NAME"}}, {}, {}};
    std::vector<Facts> channels;
    for (const CpChannel &channel : entries.channels) {
        table.rows.push_back({std::to_string(channel.number), printable(channel.name)});
        Facts facts = {{"number", int64_t{channel.number}}};
        add_text(facts, "name", channel.name);
        channels.push_back(facts);
    }
    print_list(settings, table, "channels", channels);
}

} // namespace

void show_guide(const Settings &settings, const GuideOptions &options)
{
    Request request;
    build_request(options, &request.buffer);
    const Session session(settings);
    Entries entries;
    ask_list(session, request, "the guide", &entries);
    const ChannelNames names = entries.programmes.empty() ? ChannelNames() : ask_names(session);
    print_guide(settings, options, entries, names);
}

void show_channels(const Settings &settings, const ChannelOptions &options)
{
    Request request;
    CpStatus status = CP_OK;
    if (options.filter_given) {
        status =
            cp_build_text_get(&request.buffer, CP_CODE_CHANNELS_FILTERED, bytes_of(options.filter));
    } else {
        const uint16_t code = options.short_form ? CP_CODE_CHANNELS_SHORT : CP_CODE_CHANNELS;
        status = cp_build_get(&request.buffer, code, nullptr, 0);
    }
    require_built(status, text_hint);
    const Session session(settings);
    Entries entries;
    ask_list(session, request, "its channels", &entries);
    if (options.short_form) {
        print_short_channels(settings, entries);
    } else {
        print_channels(settings, entries);
    }
}

} // namespace ctl
