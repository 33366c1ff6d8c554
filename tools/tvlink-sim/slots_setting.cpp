/* SPDX-License-Identifier: MIT */
/* Settings, applications, place and text queries. */
#include "slots.h"

#include <cstring>

#include "host.h"
#include "narrate.h"
#include "printable.h"
#include "state_json.h"

namespace sim
{

namespace
{

constexpr size_t answer_size = 2560;
constexpr size_t long_answer_size = 65535;

std::string fitting(const nlohmann::json &object)
{
    const std::string reply = one_line(object);
    return reply.size() < answer_size ? reply : one_line({{"error", "the answer is too long"}});
}

int answer_query(const char *slot, char *buffer, const char *text, const std::string &words,
                 const std::string &reply)
{
    answer(buffer, answer_size, reply);
    narrate_call(slot, {{"text", text}}, words, reply);
    return 0;
}

} // namespace

int get_tv_installapklist(uint32_t value, char *buffer)
{
    const nlohmann::json list =
        read_state([](const Television &tv) { return applications_json(tv.applications); });
    return answer_json("get_tv_installapklist", {{"value", value}}, "applications? ", list, buffer);
}

int get_tv_currentposition(char *buffer)
{
    const std::string place = read_state([](const Television &tv) { return tv.place; });
    answer(buffer, long_answer_size, place);
    narrate_call("get_tv_currentposition", nlohmann::json::object(), "place? " + quoted(place),
                 place);
    return 0;
}

/* The first text is the setting's name, the second its value; an empty value only reads. */
int set_tv_setting_mtnadata(const char *value, uint32_t, const char *name, uint32_t, uint8_t kind,
                            char *answer_buffer)
{
    nlohmann::json shown = value;
    if (kind != 0) {
        shown = nullptr;
    }
    const int status =
        run_operation("set_tv_setting_mtnadata", {{"name", name}, {"value", shown}, {"kind", kind}},
                      [=](Television &tv) { return keep_setting(tv, name, value, kind); });
    answer(answer_buffer, answer_size, fitting(read_state([=](const Television &tv) {
               return setting_json(tv.settings, name);
           })));
    return status;
}

/* How many settings' names begin with the text. */
int get_tv_code400a(uint32_t *number, const char *text)
{
    *number = read_state([=](const Television &tv) { return count_settings(tv.settings, text); });
    narrate_call("get_tv_code400a", {{"text", text}},
                 "settings that begin with " + quoted(text) + "? " + std::to_string(*number),
                 *number);
    return 0;
}

/* The setting of this name; all for an empty text. */
int get_tv_code400b(char *buffer, const char *text)
{
    const nlohmann::json settings = read_state(
        [=](const Television &tv) { return settings_json(settings_named(tv.settings, text)); });
    return answer_query("get_tv_code400b", buffer, text,
                        "settings " + quoted(text) + "? " + std::to_string(settings.size()),
                        fitting(settings));
}

int get_tv_code400c(char *buffer, const char *text)
{
    return answer_query("get_tv_code400c", buffer, text,
                        "version " + quoted(text) + "? " TVLINK_VERSION,
                        one_line({{"name", "tvlink-sim"}, {"version", TVLINK_VERSION}}));
}

int get_tv_code400d(char *buffer, const char *text)
{
    return answer_query("get_tv_code400d", buffer, text, "echo " + quoted(text), text);
}

int get_tv_code4015(char *buffer, const char *text)
{
    return answer_query("get_tv_code4015", buffer, text,
                        "state " + quoted(text) + "? " + read_state(summary),
                        fitting(present_state()));
}

int set_tv_install_apklist(const char *text, uint32_t number)
{
    return run_operation("set_tv_install_apklist", {{"text", text}, {"number", number}},
                         [=](Television &tv) { return install_application(tv, text); });
}

int set_tv_current_position(const char *text, uint32_t)
{
    return run_operation("set_tv_current_position", {{"text", text}},
                         [=](Television &tv) { return set_place(tv, text); });
}

int set_tv_wifiinfo(const char *text)
{
    const size_t length = strlen(text);
    narrate_call("set_tv_wifiinfo", {{"length", length}},
                 "Wi-Fi settings of " + std::to_string(length) + " bytes", 0);
    return 0;
}

int set_tv_shut_down()
{
    return run_operation("set_tv_shut_down", nlohmann::json::object(),
                         [](Television &tv) { return set_power(tv, false); });
}

} // namespace sim
