/* SPDX-License-Identifier: MIT */
#include "settings.h"

#include "printable.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr size_t max_settings = 64;

} // namespace

Settings delivered_settings()
{
    return {{"brightness", {"50", 0}},
            {"contrast", {"50", 0}},
            {"language", {"en", 0}},
            {"sleep-timer", {"off", 0}}};
}

Outcome keep_setting(Television &tv, const std::string &name, const std::string &value,
                     uint8_t kind)
{
    if (value.empty()) {
        return {0, "setting " + quoted(name) + "?", {}};
    }
    const std::string shown =
        kind == 0 ? quoted(value) : "a secret of " + std::to_string(value.size()) + " bytes";
    const std::string request = "setting " + quoted(name) + " -> " + shown;
    if (!has_name_length(name)) {
        return name_refusal(request);
    }
    if (tv.settings.count(name) == 0 && tv.settings.size() == max_settings) {
        return refusal(request, "no room");
    }
    Setting &kept = tv.settings[name];
    Outcome outcome{0, request, {}};
    if (kept.value != value || kept.kind != kind) {
        kept = {value, kind};
        outcome.events.push_back({IPP_EVENT_SETTING, kind, name, {}});
    }
    return outcome;
}

Settings settings_named(const Settings &settings, const std::string &name)
{
    if (name.empty()) {
        return settings;
    }
    const auto found = settings.find(name);
    return found == settings.end() ? Settings{} : Settings{*found};
}

uint32_t count_settings(const Settings &settings, const std::string &beginning)
{
    uint32_t count = 0;
    for (const auto &setting : settings) {
        count += setting.first.compare(0, beginning.size(), beginning) == 0 ? 1 : 0;
    }
    return count;
}

} // namespace sim
