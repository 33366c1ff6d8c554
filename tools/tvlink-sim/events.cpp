/* SPDX-License-Identifier: MIT */
#include "events.h"

namespace sim
{

namespace
{

constexpr size_t max_name_bytes = 64;

} // namespace

const std::vector<EventKind> &event_kinds()
{
    static const std::vector<EventKind> kinds = {
        {IPP_EVENT_CHANNEL, "channel", "value: channel number; text: its name"},
        {IPP_EVENT_VOLUME, "volume", "value: 0 to 100"},
        {IPP_EVENT_MUTE, "mute", "value: 0 or 1"},
        {IPP_EVENT_POWER, "power", "value: 0 standby, 1 on"},
        {IPP_EVENT_PICTURE, "picture", "value: picture mode; text: its name"},
        {IPP_EVENT_TEXT, "text", "value: length; text: the text typed"},
        {IPP_EVENT_ORDER, "order", "value: channels; data: their numbers, 2 bytes each"},
        {IPP_EVENT_PHONE, "phone", "value: 1 paired; text: the phone"},
        {IPP_EVENT_NAME, "name", "text: the television's new name"},
        {IPP_EVENT_KEY, "key", "value: key code; text: the key's name"},
        {IPP_EVENT_PLAYER, "player", "value: 0 stopped, 1 playing, 2 paused; text: address"},
        {IPP_EVENT_POSITION, "position", "value: seconds, after a seek; text: address"},
        {IPP_EVENT_PLAYER_VOLUME, "player-volume", "value: 0 to 255"},
        {IPP_EVENT_VIDEO, "video", "value: kept values; text: name of the one that changed"},
        {IPP_EVENT_DEMO, "demo", "value: a running number (--event-every)"},
        {IPP_EVENT_SETTING, "setting", "value: kind; text: the setting's name"},
        {IPP_EVENT_APPLICATION, "application", "value: applications; text: the new one's name"},
        {IPP_EVENT_PLACE, "place", "text: where the television stands"},
        {IPP_EVENT_NICKNAME, "nickname", "text: the new nickname"},
    };
    return kinds;
}

const char *event_name(int32_t code)
{
    for (const EventKind &kind : event_kinds()) {
        if (kind.code == code) {
            return kind.name;
        }
    }
    return "unknown";
}

Outcome refusal(const std::string &request, const std::string &reason)
{
    return {-1, request + " refused: " + reason, {}};
}

bool has_name_length(const std::string &name)
{
    return !name.empty() && name.size() <= max_name_bytes;
}

Outcome name_refusal(const std::string &request)
{
    return refusal(request, "a name has 1 to " + std::to_string(max_name_bytes) + " bytes");
}

Outcome in_standby(const std::string &request)
{
    return refusal(request, "in standby");
}

} // namespace sim
