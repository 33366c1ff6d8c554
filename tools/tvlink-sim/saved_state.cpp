/* SPDX-License-Identifier: MIT */
#include "saved_state.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "films.h"
#include "printable.h"
#include "television.h"

namespace sim
{

namespace
{

using Json = nlohmann::json;

constexpr uint32_t saved_form = 1; /* of the saved text */
constexpr size_t max_saved_name = 255;
constexpr size_t max_saved_entries = 65536; /* of a list: more are never saved */

/* ---- Saving */

Json saved_channels(const Television &tv)
{
    Json list = Json::array();
    for (const Channel &channel : tv.channels) {
        list.push_back({{"number", channel.number},
                        {"name", channel.name},
                        {"group", channel.group},
                        {"guide_id", channel.guide_id},
                        {"address", channel.address}});
    }
    return list;
}

Json saved_player(const Player &player, uint32_t now)
{
    return {{"state", static_cast<uint32_t>(player.state)},
            {"address", player.address},
            {"title", player.title},
            {"film", player.film},
            {"duration", player.duration},
            {"position", player_position(player, now)},
            {"volume", player.volume}};
}

Json saved_values(const VideoValues &values)
{
    Json object = Json::object();
    for (const auto &[name, value] : values) {
        const int64_t *number = std::get_if<int64_t>(&value);
        object[name] = number != nullptr ? Json(*number) : Json(std::get<std::string>(value));
    }
    return object;
}

Json saved_applications(const std::vector<Application> &applications)
{
    Json list = Json::array();
    for (const Application &entry : applications) {
        list.push_back(
            {{"name", entry.name}, {"package", entry.package}, {"version", entry.version}});
    }
    return list;
}

Json saved_settings(const Settings &settings)
{
    Json object = Json::object();
    for (const auto &[name, setting] : settings) {
        object[name] = {{"value", setting.value}, {"kind", setting.kind}};
    }
    return object;
}

/* ---- Reading */

uint32_t number_in(const Json &object, const char *name, uint32_t max)
{
    const Json &value = object.at(name);
    if (!value.is_number_unsigned() || value.get<uint64_t>() > max) {
        throw StateError(std::string("\"") + name + "\" is no number up to " + std::to_string(max));
    }
    return value.get<uint32_t>();
}

std::string text_in(const Json &object, const char *name)
{
    return object.at(name).get<std::string>();
}

std::string name_in(const Json &object)
{
    std::string name = text_in(object, "name");
    if (name.empty() || name.size() > max_saved_name) {
        throw StateError("\"name\" is empty or too long");
    }
    return name;
}

const Json &list_in(const Json &object, const char *name)
{
    const Json &list = object.at(name);
    if (!list.is_array() || list.size() > max_saved_entries) {
        throw StateError(std::string("\"") + name + "\" is no list, or too long");
    }
    return list;
}

const Json &object_in(const Json &object, const char *name)
{
    const Json &inner = object.at(name);
    if (!inner.is_object() || inner.size() > max_saved_entries) {
        throw StateError(std::string("\"") + name + "\" is no object, or too long");
    }
    return inner;
}

Channel channel_in(const Json &object)
{
    return {static_cast<uint16_t>(number_in(object, "number", UINT16_MAX)), text_in(object, "name"),
            text_in(object, "group"), text_in(object, "guide_id"), text_in(object, "address")};
}

bool is_same_channel(const Channel &one, const Channel &other)
{
    return one.number == other.number && one.name == other.name;
}

/* Those that a search has found are in no list, and have no address. */
bool was_found_by_search(const Channel &channel)
{
    return channel.group == "Local" && channel.address.empty();
}

/* The television's channels in the saved order; new ones follow. */
std::vector<Channel> ordered_channels(std::vector<Channel> rest, const Json &saved)
{
    std::vector<Channel> channels;
    for (const Json &entry : saved) {
        const Channel wanted = channel_in(entry);
        const auto found = std::find_if(rest.begin(), rest.end(), [&](const Channel &channel) {
            return is_same_channel(channel, wanted);
        });
        const bool number_is_free =
            std::none_of(rest.begin(), rest.end(),
                         [&](const Channel &channel) { return channel.number == wanted.number; }) &&
            std::none_of(channels.begin(), channels.end(),
                         [&](const Channel &channel) { return channel.number == wanted.number; });
        if (found != rest.end()) {
            channels.push_back(*found);
            rest.erase(found);
        } else if (was_found_by_search(wanted) && number_is_free) {
            channels.push_back(wanted);
        }
    }
    channels.insert(channels.end(), rest.begin(), rest.end());
    return channels;
}

/* The first channel when the saved one is gone. */
size_t index_of_channel(const std::vector<Channel> &channels, uint32_t number)
{
    const auto found = std::find_if(channels.begin(), channels.end(), [=](const Channel &channel) {
        return channel.number == number;
    });
    return found == channels.end() ? 0 : static_cast<size_t>(found - channels.begin());
}

Player player_in(const Json &object, uint32_t now)
{
    Player player;
    player.state = static_cast<PlayState>(
        number_in(object, "state", static_cast<uint32_t>(PlayState::PAUSED)));
    player.address = text_in(object, "address");
    player.title = text_in(object, "title");
    player.film = number_in(object, "film", static_cast<uint32_t>(films().size()));
    player.duration = number_in(object, "duration", UINT32_MAX);
    player.position = number_in(object, "position", player.duration);
    player.since = now;
    player.volume = static_cast<uint8_t>(number_in(object, "volume", UINT8_MAX));
    return player;
}

VideoValues values_in(const Json &object)
{
    VideoValues values;
    for (const auto &[name, value] : object.items()) {
        if (value.is_number_integer()) {
            values[name] = value.get<int64_t>();
        } else {
            values[name] = value.get<std::string>();
        }
    }
    return values;
}

std::vector<Application> applications_in(const Json &list)
{
    std::vector<Application> applications;
    for (const Json &entry : list) {
        applications.push_back(
            {text_in(entry, "name"), text_in(entry, "package"), text_in(entry, "version")});
    }
    return applications;
}

Settings settings_in(const Json &object)
{
    Settings settings;
    for (const auto &[name, entry] : object.items()) {
        settings[name] = {text_in(entry, "value"),
                          static_cast<uint8_t>(number_in(entry, "kind", UINT8_MAX))};
    }
    return settings;
}

void take_all(Television &tv, const Json &saved, uint32_t now)
{
    if (number_in(saved, "form", UINT32_MAX) != saved_form) {
        throw StateError("its form is unknown");
    }
    tv.name = name_in(saved);
    tv.on = saved.at("on").get<bool>();
    tv.volume = static_cast<int32_t>(number_in(saved, "volume", 100));
    tv.muted = saved.at("muted").get<bool>();
    tv.picture_mode = number_in(saved, "picture_mode", IPP_PICTURE_GAME);
    tv.channels = ordered_channels(tv.channels, list_in(saved, "channels"));
    tv.current = index_of_channel(tv.channels, number_in(saved, "channel", UINT16_MAX));
    tv.text = text_in(saved, "text");
    tv.text_label = text_in(saved, "text_label");
    tv.phone = text_in(saved, "phone");
    tv.last_key = number_in(saved, "last_key", UINT32_MAX);
    tv.player = player_in(object_in(saved, "player"), now);
    tv.video_values = values_in(object_in(saved, "video_values"));
    tv.applications = applications_in(list_in(saved, "applications"));
    tv.settings = settings_in(object_in(saved, "settings"));
    tv.nickname = text_in(saved, "nickname");
    tv.place = text_in(saved, "place");
}

} // namespace

std::string saved_state(const Television &tv, uint32_t now)
{
    const Json object = {{"form", saved_form},
                         {"name", tv.name},
                         {"on", tv.on},
                         {"volume", tv.volume},
                         {"muted", tv.muted},
                         {"picture_mode", tv.picture_mode},
                         {"channels", saved_channels(tv)},
                         {"channel", current_channel(tv).number},
                         {"text", tv.text},
                         {"text_label", tv.text_label},
                         {"phone", tv.phone},
                         {"last_key", tv.last_key},
                         {"player", saved_player(tv.player, now)},
                         {"video_values", saved_values(tv.video_values)},
                         {"applications", saved_applications(tv.applications)},
                         {"settings", saved_settings(tv.settings)},
                         {"nickname", tv.nickname},
                         {"place", tv.place}};
    return one_line(object) + "\n";
}

void take_saved_state(Television &tv, const std::string &text, uint32_t now)
{
    Television changed = tv;
    try {
        take_all(changed, Json::parse(text), now);
    } catch (const Json::exception &error) {
        throw StateError(error.what());
    }
    tv = std::move(changed);
}

} // namespace sim
