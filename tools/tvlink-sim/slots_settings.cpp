/* Settings, names, accounts and the text queries. Passwords pass through here: their slots print
 * lengths only. */
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
constexpr size_t version_size = 32;

int set_tv_current_position(const char *text, uint32_t)
{
    return run_operation("set_tv_current_position", {{"text", text}},
                         [=](Television &tv) { return set_place(tv, text); });
}

int set_tv_nick_name(const char *text, uint32_t number)
{
    return run_operation("set_tv_nick_name", {{"text", text}, {"number", number}},
                         [=](Television &tv) { return set_nickname(tv, text); });
}

std::string fitting(const nlohmann::json &object)
{
    const std::string reply = one_line(object);
    return reply.size() < answer_size ? reply : one_line({{"error", "the answer is too long"}});
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

int set_tv_show_phone_connect(const char *text1, const char *text2)
{
    return run_operation("set_tv_show_phone_connect", {{"texts", {text1, text2}}},
                         [=](Television &tv) { return pair_phone(tv, text1); });
}

int set_tv_shut_down()
{
    return run_operation("set_tv_shut_down", nlohmann::json::object(),
                         [](Television &tv) { return set_power(tv, false); });
}

int set_tv_loginfromtv(const char *text1, const char *text2, const char *text3, const char *text4,
                       const char *text5)
{
    nlohmann::json lengths = nlohmann::json::array();
    for (const char *text : {text1, text2, text3, text4, text5}) {
        lengths.push_back(strlen(text));
    }
    narrate_call("set_tv_loginfromtv", {{"lengths", lengths}},
                 "account with texts of " + one_line(lengths) + " bytes", 0);
    return 0;
}

int set_tv_wifiinfo(const char *text)
{
    const size_t length = strlen(text);
    narrate_call("set_tv_wifiinfo", {{"length", length}},
                 "Wi-Fi settings of " + std::to_string(length) + " bytes", 0);
    return 0;
}

int get_tv_currentposition(char *buffer)
{
    const std::string place = read_state([](const Television &tv) { return tv.place; });
    answer(buffer, long_answer_size, place);
    narrate_call("get_tv_currentposition", nlohmann::json::object(), "place? " + quoted(place),
                 place);
    return 0;
}

int get_europe_version(char *buffer)
{
    answer(buffer, version_size, TVLINK_VERSION);
    narrate_call("get_europe_version", nlohmann::json::object(), "version? " TVLINK_VERSION,
                 TVLINK_VERSION);
    return 0;
}

int answer_query(const char *slot, char *buffer, const char *text, const std::string &words,
                 const std::string &reply)
{
    answer(buffer, answer_size, reply);
    narrate_call(slot, {{"text", text}}, words, reply);
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

/* How many settings' names begin with the text. */
int get_tv_code400a(uint32_t *number, const char *text)
{
    *number = read_state([=](const Television &tv) { return count_settings(tv.settings, text); });
    narrate_call("get_tv_code400a", {{"text", text}},
                 "settings that begin with " + quoted(text) + "? " + std::to_string(*number),
                 *number);
    return 0;
}

} // namespace

void fill_settings_slots(TvMethodTable &table)
{
    table.set_tv_current_position = set_tv_current_position;
    table.set_tv_nick_name = set_tv_nick_name;
    table.set_tv_setting_mtnadata = set_tv_setting_mtnadata;
    table.set_tv_show_phone_connect = set_tv_show_phone_connect;
    table.set_tv_shut_down = set_tv_shut_down;
    table.set_tv_loginfromtv = set_tv_loginfromtv;
    table.get_tv_currentposition = get_tv_currentposition;
    table.set_tv_wifiinfo = set_tv_wifiinfo;
    table.get_europe_version = get_europe_version;
    table.get_tv_code400b = get_tv_code400b;
    table.get_tv_code400c = get_tv_code400c;
    table.get_tv_code400d = get_tv_code400d;
    table.get_tv_code400a = get_tv_code400a;
    table.get_tv_code4015 = get_tv_code4015;
}

} // namespace sim
