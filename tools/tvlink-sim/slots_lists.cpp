/* The programme guide, the channel lists, their order, and the picture of the screen. What travels
 * in a list is a line of text for each entry, its fields apart by tabulators. */
#include "slots.h"

#include "host.h"
#include "printable.h"

namespace sim
{

namespace
{

struct Entries {
    std::string lines;
    uint16_t count = 0;
};

void add_line(Entries &entries, const std::string &line)
{
    entries.lines += line + "\n";
    entries.count++;
}

/* What one channel shows in the evening, as far as the wanted text is in the titles. */
void add_evening(Entries &entries, int day, const Channel &channel, const std::string &wanted)
{
    static const char *const programmes[] = {"19:00\tMagazine", "20:15\tHighlights",
                                             "22:00\tLate Show"};
    for (const char *programme : programmes) {
        const std::string title = std::string(programme) + ": " + channel.name;
        if (title.find(wanted) != std::string::npos) {
            add_line(entries,
                     std::to_string(day) + "\t" + std::to_string(channel.number) + "\t" + title);
        }
    }
}

/* The evenings of so many days. */
Entries guide(const Television &tv, int days, const std::string &wanted)
{
    Entries entries;
    for (int day = 0; day < days; day++) {
        for (const Channel &channel : tv.channels) {
            add_evening(entries, day, channel, wanted);
        }
    }
    return entries;
}

Entries channels(const Television &tv, const std::string &wanted)
{
    Entries entries;
    for (const Channel &channel : tv.channels) {
        if (channel.name.find(wanted) != std::string::npos) {
            add_line(entries, std::to_string(channel.number) + "\t" + channel.name);
        }
    }
    return entries;
}

/* Prints the question and gives the entries to the library. */
void *send_entries(const char *slot, const nlohmann::json &arguments, const std::string &question,
                   const Entries &entries)
{
    tell(slot, arguments, question + "? " + std::to_string(entries.count) + " entries",
         entries.count);
    return sized_block(entries.lines);
}

void *get_tv_epg(uint16_t *count, uint32_t *, uint8_t selector1, uint32_t selector2,
                 uint32_t selector3, uint32_t *value)
{
    const Entries entries = look([](const Television &tv) { return guide(tv, 1, ""); });
    *count = entries.count;
    *value = entries.count;
    return send_entries("get_tv_epg", {{"selectors", {selector1, selector2, selector3}}}, "guide",
                        entries);
}

void *get_tv_epgweek(uint32_t selector, uint32_t *value)
{
    const Entries entries = look([](const Television &tv) { return guide(tv, 7, ""); });
    *value = entries.count;
    return send_entries("get_tv_epgweek", {{"selector", selector}}, "guide of the week", entries);
}

void *get_tv_simpleepg(uint16_t *count)
{
    const Entries entries = look([](const Television &tv) { return guide(tv, 1, "20:15"); });
    *count = entries.count;
    return send_entries("get_tv_simpleepg", nlohmann::json::object(), "simple guide", entries);
}

void *get_tv_searchsimpleepg(const char *text, uint32_t, uint16_t *count, uint32_t *)
{
    const Entries entries = look([=](const Television &tv) { return guide(tv, 1, text); });
    *count = entries.count;
    return send_entries("get_tv_searchsimpleepg", {{"text", text}}, "guide with " + quoted(text),
                        entries);
}

void *send_channels(const char *slot, const nlohmann::json &arguments, const std::string &wanted,
                    uint16_t *count)
{
    const Entries entries = look([&](const Television &tv) { return channels(tv, wanted); });
    *count = entries.count;
    return send_entries(slot, arguments,
                        wanted.empty() ? "channels" : "channels with " + quoted(wanted), entries);
}

void *get_tv_channelcode(uint16_t *count)
{
    return send_channels("get_tv_channelcode", nlohmann::json::object(), "", count);
}

void *get_tv_channelcode2(uint16_t *count)
{
    return send_channels("get_tv_channelcode2", nlohmann::json::object(), "", count);
}

void *get_tv_channelcode3(const char *filter, uint16_t *count)
{
    return send_channels("get_tv_channelcode3", {{"filter", filter}}, filter, count);
}

void *get_tv_order(uint16_t *count, uint32_t *length)
{
    const std::vector<uint8_t> order = look([](const Television &tv) { return channel_order(tv); });
    *count = static_cast<uint16_t>(order.size() / 2);
    *length = static_cast<uint32_t>(order.size());
    tell("get_tv_order", nlohmann::json::object(), "order? " + std::to_string(*count) + " channels",
         *count);
    return heap_bytes(order.data(), order.size());
}

/* The parameters are width and height. The picture stays ours: it lives until the next one is
 * drawn. */
void *get_screen_shot2(int16_t width, uint16_t height, uint32_t *length)
{
    static std::vector<uint8_t> &image = *new std::vector<uint8_t>;
    image = look([=](const Television &tv) { return draw_screen(tv, width, height); });
    *length = static_cast<uint32_t>(image.size());
    tell("get_screen_shot2", {{"width", width}, {"height", height}},
         "screen? " + std::to_string(image.size()) + " bytes", image.size());
    return image.data();
}

} // namespace

void fill_list_slots(TvMethodTable &table)
{
    table.get_screen_shot2 = get_screen_shot2;
    table.get_tv_epg = get_tv_epg;
    table.get_tv_epgweek = get_tv_epgweek;
    table.get_tv_order = get_tv_order;
    table.get_tv_simpleepg = get_tv_simpleepg;
    table.get_tv_channelcode = get_tv_channelcode;
    table.get_tv_channelcode2 = get_tv_channelcode2;
    table.get_tv_channelcode3 = get_tv_channelcode3;
    table.get_tv_searchsimpleepg = get_tv_searchsimpleepg;
}

} // namespace sim
