/* SPDX-License-Identifier: MIT */
#include "state_json.h"

#include "films.h"
#include "television.h"
#include "utf8.h"

namespace sim
{

namespace
{

nlohmann::json value_json(const Setting &setting)
{
    return setting.kind == 0 ? nlohmann::json(setting.value) : nlohmann::json(nullptr);
}

nlohmann::json title_of(const Programme *programme)
{
    return programme == nullptr ? nlohmann::json(nullptr) : nlohmann::json(programme->title);
}

nlohmann::json programme_object(const Channel &channel, const Programme &programme)
{
    return {{"title", programme.title},
            {"category", programme.category},
            {"start", programme.start},
            {"duration", programme.duration},
            {"channel", channel.number},
            {"channel_name", channel.name},
            {"description", programme.description}};
}

} // namespace

nlohmann::json state_json(const Television &tv, uint32_t time, uint32_t now)
{
    const Channel &channel = current_channel(tv);
    const Schedule &schedule = schedule_of(tv.guide, channel);
    return {{"name", tv.name},
            {"on", tv.on},
            {"channel", channel.number},
            {"channel_name", channel.name},
            {"programme", title_of(on_at(schedule, time))},
            {"next_programme", title_of(next_after(schedule, time))},
            {"volume", tv.volume},
            {"muted", tv.muted},
            {"picture", picture_mode_name(tv.picture_mode)},
            {"text", tv.text},
            {"phone", tv.phone},
            {"last_key", tv.last_key},
            {"player", play_state_name(tv.player.state)},
            {"stream", tv.player.address},
            {"position", player_position(tv.player, now)},
            {"duration", tv.player.duration}};
}

nlohmann::json applications_json(const std::vector<Application> &applications)
{
    nlohmann::json list = nlohmann::json::array();
    for (const Application &entry : applications) {
        list.push_back(
            {{"name", entry.name}, {"package", entry.package}, {"version", entry.version}});
    }
    return list;
}

nlohmann::json settings_json(const Settings &settings)
{
    nlohmann::json object = nlohmann::json::object();
    for (const auto &[name, setting] : settings) {
        object[name] = value_json(setting);
    }
    return object;
}

nlohmann::json setting_json(const Settings &settings, const std::string &name)
{
    const auto found = settings.find(name);
    const nlohmann::json value =
        found == settings.end() ? nlohmann::json(nullptr) : value_json(found->second);
    return {{"name", name}, {"value", value}};
}

nlohmann::json video_values_json(const VideoValues &values)
{
    nlohmann::json object = nlohmann::json::object();
    for (const auto &[name, value] : values) {
        const int64_t *number = std::get_if<int64_t>(&value);
        object[name] = number != nullptr ? nlohmann::json(*number)
                                         : nlohmann::json(std::get<std::string>(value));
    }
    return object;
}

nlohmann::json programme_json(const Television &tv, const std::string &title, uint32_t time)
{
    for (const Channel &channel : tv.channels) {
        const Programme *programme = on_at(schedule_of(tv.guide, channel), time);
        const bool wanted = title.empty()
                                ? channel.number == current_channel(tv).number
                                : programme != nullptr && equal_words(programme->title, title);
        if (programme != nullptr && wanted) {
            return programme_object(channel, *programme);
        }
    }
    return nullptr;
}

nlohmann::json film_json(const Television &tv, const std::string &title)
{
    const uint32_t number = title.empty() ? tv.player.film : film_with_title(title);
    if (number == 0) {
        return nullptr;
    }
    const Film &film = films()[number - 1];
    return {{"title", film.title},
            {"film", number},
            {"duration", film.seconds},
            {"address", film.address},
            {"description", film.description}};
}

} // namespace sim
