/* SPDX-License-Identifier: MIT */
#include "channels.h"

#include <algorithm>

#include "numbers.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr size_t max_found_channels = 16;

Event channel_event(const Television &tv)
{
    const Channel &channel = current_channel(tv);
    return {IPP_EVENT_CHANNEL, channel.number, channel.name, {}};
}

Event order_event(const Television &tv)
{
    return {IPP_EVENT_ORDER, static_cast<uint32_t>(tv.channels.size()), "", channel_order(tv)};
}

Outcome show_channel(Television &tv, size_t index, const std::string &request)
{
    Outcome outcome{0, request + " -> " + channel_words(tv.channels[index]), {}};
    if (index != tv.current) {
        tv.current = index;
        outcome.events.push_back(channel_event(tv));
    }
    return outcome;
}

size_t find_channel(const Television &tv, uint32_t number)
{
    const auto found =
        std::find_if(tv.channels.begin(), tv.channels.end(),
                     [=](const Channel &channel) { return channel.number == number; });
    return static_cast<size_t>(found - tv.channels.begin());
}

} // namespace

const Channel &current_channel(const Television &tv)
{
    return tv.channels[tv.current];
}

std::string channel_words(const Channel &channel)
{
    return std::to_string(channel.number) + " (" + channel.name + ")";
}

Outcome step_channel(Television &tv, int32_t step)
{
    const std::string request = "channel " + signed_number(step);
    if (!tv.on) {
        return in_standby(request);
    }
    const int64_t count = static_cast<int64_t>(tv.channels.size());
    const int64_t index = (static_cast<int64_t>(tv.current) + step % count + count) % count;
    return show_channel(tv, static_cast<size_t>(index), request);
}

Outcome choose_channel(Television &tv, uint32_t number)
{
    const std::string request = "channel " + std::to_string(number);
    if (!tv.on) {
        return in_standby(request);
    }
    const size_t index = find_channel(tv, number);
    return index < tv.channels.size() ? show_channel(tv, index, request)
                                      : refusal(request, "no such channel");
}

Outcome reorder_channels(Television &tv, uint16_t first, uint16_t second, int kind)
{
    const std::string request =
        "order of " + std::to_string(first) + " and " + std::to_string(second);
    const size_t from = find_channel(tv, first);
    const size_t to = find_channel(tv, second);
    if (from == tv.channels.size() || to == tv.channels.size() || (kind != 1 && kind != 2)) {
        return refusal(request, "no such channel or kind");
    }
    const uint16_t shown = current_channel(tv).number;
    if (kind == 1) {
        std::swap(tv.channels[from], tv.channels[to]);
    } else {
        const Channel moved = tv.channels[from];
        tv.channels.erase(tv.channels.begin() + static_cast<std::ptrdiff_t>(from));
        tv.channels.insert(tv.channels.begin() + static_cast<std::ptrdiff_t>(to), moved);
    }
    tv.current = find_channel(tv, shown);
    Outcome outcome{0, request + (kind == 1 ? " swapped" : " changed"), {}};
    if (from != to) {
        outcome.events.push_back(order_event(tv));
    }
    return outcome;
}

Outcome replace_lineup(Television &tv, std::vector<Channel> channels, Guide guide)
{
    const Channel shown = current_channel(tv);
    tv.channels = std::move(channels);
    tv.guide = std::move(guide);
    const size_t same = find_channel(tv, shown.number);
    tv.current = same < tv.channels.size() ? same : 0;
    Outcome outcome{0, "other lists", {order_event(tv)}};
    const Channel &now = current_channel(tv);
    if (now.number != shown.number || now.name != shown.name) {
        outcome.events.push_back(channel_event(tv));
    }
    return outcome;
}

Outcome search_channels(Television &tv)
{
    if (!tv.on) {
        return in_standby("channel search");
    }
    if (tv.channels.size() >= max_found_channels) {
        return {0, "channel search -> nothing new", {}};
    }
    uint16_t number = 1;
    while (find_channel(tv, number) < tv.channels.size()) {
        number++;
    }
    tv.channels.push_back({number, "Local " + std::to_string(number), "Local", "", ""});
    return {0, "channel search -> " + channel_words(tv.channels.back()), {order_event(tv)}};
}

std::vector<uint8_t> channel_order(const Television &tv)
{
    std::vector<uint8_t> order;
    for (const Channel &channel : tv.channels) {
        order.push_back(static_cast<uint8_t>(channel.number & 0xFF));
        order.push_back(static_cast<uint8_t>(channel.number >> 8));
    }
    return order;
}

} // namespace sim
