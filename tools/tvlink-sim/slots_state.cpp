/* SPDX-License-Identifier: MIT */
/* What the television is: names, versions and single states. */
#include "slots.h"

#include "host.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

constexpr size_t version_size = 32;

/* The single states that phones ask for: here whether the set is on, muted, what it shows, and its
 * picture. */
int answer_state(const char *slot, const nlohmann::json &arguments, const std::string &question,
                 uint32_t state)
{
    narrate_call(slot, arguments, question + "? " + std::to_string(state), state);
    return static_cast<int>(state);
}

} // namespace

int get_device_info(char *buffer)
{
    const std::string text = std::string("tvlink-sim ") + TVLINK_VERSION;
    answer(buffer, text_size, text);
    narrate_call("get_device_info", nlohmann::json::object(), "device information? " + quoted(text),
                 text);
    return 0;
}

int set_tv_name(const char *name, uint32_t length)
{
    return run_operation("set_tv_name", {{"name", name}, {"length", length}},
                         [=](Television &tv) { return rename_television(tv, name); });
}

int get_europe_version(char *buffer)
{
    answer(buffer, version_size, TVLINK_VERSION);
    narrate_call("get_europe_version", nlohmann::json::object(), "version? " TVLINK_VERSION,
                 TVLINK_VERSION);
    return 0;
}

int get_tv_code0001()
{
    const bool on = read_state([](const Television &tv) { return tv.on; });
    return answer_state("get_tv_code0001", nlohmann::json::object(), "on", on ? 1 : 0);
}

int get_tv_code0105()
{
    const bool muted = read_state([](const Television &tv) { return tv.muted; });
    return answer_state("get_tv_code0105", nlohmann::json::object(), "muted", muted ? 1 : 0);
}

int get_tv_code010e(uint8_t selector)
{
    const uint32_t state = read_state([=](const Television &tv) {
        return selector == 0 ? static_cast<uint32_t>(tv.volume) : tv.picture_mode;
    });
    return answer_state("get_tv_code010e", {{"selector", selector}},
                        selector == 0 ? "volume" : "picture mode", state);
}

uint32_t get_tv_code2005()
{
    const uint32_t number =
        read_state([](const Television &tv) { return uint32_t{tv.channels[tv.current].number}; });
    return static_cast<uint32_t>(
        answer_state("get_tv_code2005", nlohmann::json::object(), "channel", number));
}

} // namespace sim
