/* SPDX-License-Identifier: MIT */
/* The programme guide, the channels and their order. */
#include "arguments.h"
#include "command_line.h"
#include "list_reader.h"
#include "output.h"
#include "times.h"

#include <map>

namespace ctl
{
namespace
{

struct GuideOptions {
    bool week = false;
    bool all = false;
    bool search_given = false;
    bool descriptions = false;
    std::string search;
    std::string channel; /* empty: all */
    std::string from;    /* empty: from the beginning */
};

struct ChannelOptions {
    bool short_form = false;
    bool filter_given = false;
    std::string filter;
};

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

/* Errors are ignored: a guide is of use without the names of its channels, too. */
ChannelNames ask_names(const Session &session)
{
    ChannelNames names;
    Request request;
    require_built(cp_build_get(&request.buffer, CP_CODE_CHANNELS_SHORT, nullptr, 0), "");
    Entries entries;
    try {
        ask_list(session, request, "its channels", &entries);
    } catch (const Failure &) {
        return {};
    }
    for (const CpChannel &channel : entries.channels) {
        names[channel.number] = text_of(channel.name);
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

void print_channels(const Settings &settings, const Entries &entries, bool short_form)
{
    Table table = {{{"NO", true}, {"NAME"}}, {}, {}};
    if (!short_form) {
        table.columns.insert(table.columns.end(), {{"GROUP"}, {"GUIDE ID"}, {"ADDRESS"}});
    }
    std::vector<Facts> channels;
    for (const CpChannel &channel : entries.channels) {
        const std::pair<const char *, CpBytes> texts[] = {{"name", channel.name},
                                                          {"group", channel.group},
                                                          {"guide_id", channel.guide_id},
                                                          {"address", channel.address}};
        std::vector<std::string> row = {std::to_string(channel.number)};
        Facts facts = {{"number", int64_t{channel.number}}};
        for (size_t i = 0; i + 1 < table.columns.size(); i++) {
            row.push_back(printable(texts[i].second));
            add_text(facts, texts[i].first, texts[i].second);
        }
        table.rows.push_back(row);
        channels.push_back(facts);
    }
    print_list(settings, table, "channels", channels);
}

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
    print_channels(settings, entries, options.short_form);
}

/* The television's host decides what an entry is. Those of 2 or 4 bytes are taken for numbers. */
std::vector<int64_t> order_entries(const CpValue &order)
{
    std::vector<int64_t> entries;
    const size_t width = order.count == 0 ? 0 : order.bytes.size / order.count;
    if ((width != 2 && width != 4) || width * order.count != order.bytes.size) {
        return entries;
    }
    for (size_t at = 0; at < order.bytes.size; at += width) {
        int64_t entry = 0;
        for (size_t i = width; i > 0; i--) {
            entry = entry << 8 | order.bytes.data[at + i - 1];
        }
        entries.push_back(entry);
    }
    return entries;
}

void show_order(const Settings &settings)
{
    const Session session(settings);
    const CpValue order =
        ask_code(session, CP_CODE_ORDER, CP_TAG_LIST, "the order of its channels");
    Facts facts;
    add_number(facts, "count", order.count);
    facts.emplace_back("order", order_entries(order));
    facts.emplace_back("data", hex(order.bytes, ""));
    print_facts(settings, facts);
}

} // namespace

void add_order_command(CLI::App &app, CommandLine &line)
{
    add_command(app, line, "order", "Show the order of the channels", show_order);
}

void add_list_commands(CLI::App &app, CommandLine &line)
{
    GuideOptions &options = new_options<GuideOptions>(line);
    CLI::App *guide = add_command(app, line, "guide", "Show what is on now and next",
                                  [&](const Settings &settings) { show_guide(settings, options); });
    CLI::Option *week = guide->add_flag("--week", options.week, "Seven days from today on");
    CLI::Option *all = guide->add_flag("--all", options.all, "All that the television knows");
    CLI::Option *search = guide->add_option("--search", options.search,
                                            "What has this text in its title or category");
    search->option_text("TEXT")->each(
        [&options](const std::string &) { options.search_given = true; });
    CLI::Option *channel = guide->add_option("--channel", options.channel, "One channel alone");
    channel->option_text("NUMBER");
    CLI::Option *from = guide->add_option(
        "--from", options.from, "What ends after that: now, 20:15, 2026-11-21, both, or @SECONDS");
    from->option_text("TIME");
    guide->add_flag("--descriptions", options.descriptions,
                    "A line of description below each programme, where there is one");
    search->excludes(week, all, channel, from);
    week->excludes(all, from);
    ChannelOptions &channel_options = new_options<ChannelOptions>(line);
    CLI::App *channels =
        add_command(app, line, "channels", "List the channels",
                    [&](const Settings &settings) { show_channels(settings, channel_options); });
    CLI::Option *short_form =
        channels->add_flag("--short", channel_options.short_form, "Their numbers and names alone");
    channels
        ->add_option("--filter", channel_options.filter,
                     "Those that have this text in name or group")
        ->option_text("TEXT")
        ->each([&channel_options](const std::string &) { channel_options.filter_given = true; })
        ->excludes(short_form);
}

} // namespace ctl
