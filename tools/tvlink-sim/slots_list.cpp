/* SPDX-License-Identifier: MIT */
/* The programme guide, the channel lists and their order. */
#include "slots.h"

#include "host.h"
#include "list_blocks.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

/* Prints the question and gives the list to the library. */
void *send_list(const char *slot, const nlohmann::json &arguments, const std::string &question,
                const ListBlock &block)
{
    narrate_call(slot, arguments, question + "? " + std::to_string(block.entries) + " entries",
                 block.entries);
    return sized_block(block.bytes);
}

std::string of_channel(bool every_channel, uint32_t number)
{
    return every_channel ? "" : " of channel " + std::to_string(number);
}

} // namespace

/* 0 asks for every channel, 1 for the one with the number; nothing is known of other selectors. */
void *get_tv_epg(uint16_t *count, uint32_t *, uint8_t selector1, uint32_t selector2,
                 uint32_t selector3, uint32_t *value)
{
    GuideQuery query;
    query.every_channel = selector1 == 0;
    query.number = selector2;
    query.ends_after = selector3;
    const ListBlock block = selector1 > 1 ? ListBlock() : read_state([&](const Television &tv) {
        return guide_entries(tv.channels, tv.guide, query);
    });
    *count = static_cast<uint16_t>(block.entries);
    *value = block.channels;
    return send_list("get_tv_epg", {{"selectors", {selector1, selector2, selector3}}},
                     "guide" + of_channel(selector1 != 1, selector2), block);
}

void *get_tv_simpleepg(uint16_t *count)
{
    const ListBlock block = read_state(
        [](const Television &tv) { return present_entries(tv.channels, tv.guide, time_now()); });
    *count = static_cast<uint16_t>(block.entries);
    return send_list("get_tv_simpleepg", nlohmann::json::object(), "simple guide", block);
}

void *get_tv_epgweek(uint32_t selector, uint32_t *value)
{
    const GuideQuery query = week_query(selector, time_now());
    const ListBlock block = read_state(
        [&](const Television &tv) { return guide_entries(tv.channels, tv.guide, query); });
    *value = block.entries;
    return send_list("get_tv_epgweek", {{"selector", selector}},
                     "guide of the week" + of_channel(selector == 0, selector), block);
}

void *get_tv_searchsimpleepg(const char *text, uint32_t, uint16_t *count, uint32_t *)
{
    const ListBlock block = read_state(
        [=](const Television &tv) { return matching_entries(tv.channels, tv.guide, text); });
    *count = static_cast<uint16_t>(block.entries);
    return send_list("get_tv_searchsimpleepg", {{"text", text}}, "guide with " + quoted(text),
                     block);
}

void *get_tv_channelcode(uint16_t *count)
{
    const ListBlock block =
        read_state([](const Television &tv) { return channel_cells(tv.channels, ""); });
    *count = static_cast<uint16_t>(block.entries);
    return send_list("get_tv_channelcode", nlohmann::json::object(), "channels", block);
}

void *get_tv_channelcode2(uint16_t *count)
{
    const ListBlock block =
        read_state([](const Television &tv) { return short_channels(tv.channels); });
    *count = static_cast<uint16_t>(block.entries);
    return send_list("get_tv_channelcode2", nlohmann::json::object(), "short channels", block);
}

void *get_tv_channelcode3(const char *filter, uint16_t *count)
{
    const ListBlock block =
        read_state([=](const Television &tv) { return channel_cells(tv.channels, filter); });
    *count = static_cast<uint16_t>(block.entries);
    return send_list("get_tv_channelcode3", {{"filter", filter}}, "channels with " + quoted(filter),
                     block);
}

void *get_tv_order(uint16_t *count, uint32_t *length)
{
    const std::vector<uint8_t> order =
        read_state([](const Television &tv) { return channel_order(tv); });
    *count = static_cast<uint16_t>(order.size() / 2);
    *length = static_cast<uint32_t>(order.size());
    narrate_call("get_tv_order", nlohmann::json::object(),
                 "order? " + std::to_string(*count) + " channels", *count);
    return heap_bytes(order.data(), order.size());
}

int set_tv_order(uint16_t first, uint16_t second, int kind)
{
    return run_operation("set_tv_order", {{"first", first}, {"second", second}, {"kind", kind}},
                         [=](Television &tv) { return reorder_channels(tv, first, second, kind); });
}

} // namespace sim
