/* Settings, accounts, applications and the text queries. Passwords pass through here: their slots
 * print lengths only. */
#include "slots.h"

#include <cstring>

#include "host.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

constexpr size_t answer_size = 2560;
constexpr size_t long_answer_size = 65535;
constexpr size_t version_size = 32;

int set_tv_install_apklist(const char *text, uint32_t number)
{
    return perform("set_tv_install_apklist", {{"text", text}, {"number", number}},
                   [=](Television &tv) { return install_application(tv, text); });
}

int set_tv_current_position(const char *text, uint32_t)
{
    return perform("set_tv_current_position", {{"text", text}}, [=](Television &tv) {
        tv.place = text;
        return Outcome{0, "place -> " + quoted(text), {}};
    });
}

int set_tv_nick_name(const char *text, uint32_t number)
{
    return perform("set_tv_nick_name", {{"text", text}, {"number", number}}, [=](Television &tv) {
        tv.nickname = text;
        return Outcome{0, "nickname -> " + quoted(text), {}};
    });
}

int set_tv_setting_mtnadata(const char *text2, uint32_t, const char *text1, uint32_t, uint8_t value,
                            char *answer_buffer)
{
    const std::string reply = one_line({{"set", text1}, {"value", value}});
    answer(answer_buffer, answer_size, reply.size() < answer_size ? reply : "{}");
    tell("set_tv_setting_mtnadata", {{"text2", text2}, {"text1", text1}, {"value", value}},
         "metadata setting " + quoted(text1) + ", " + quoted(text2) + ", " + std::to_string(value),
         0);
    return 0;
}

int set_tv_show_phone_connect(const char *text1, const char *text2)
{
    return perform("set_tv_show_phone_connect", {{"texts", {text1, text2}}},
                   [=](Television &tv) { return pair_phone(tv, text1); });
}

int set_tv_shut_down()
{
    return perform("set_tv_shut_down", nlohmann::json::object(),
                   [](Television &tv) { return set_power(tv, false); });
}

int set_tv_loginfromtv(const char *text1, const char *text2, const char *text3, const char *text4,
                       const char *text5)
{
    nlohmann::json lengths = nlohmann::json::array();
    for (const char *text : {text1, text2, text3, text4, text5}) {
        lengths.push_back(strlen(text));
    }
    tell("set_tv_loginfromtv", {{"lengths", lengths}},
         "account with texts of " + one_line(lengths) + " bytes", 0);
    return 0;
}

int set_tv_wifiinfo(const char *text)
{
    const size_t length = strlen(text);
    tell("set_tv_wifiinfo", {{"length", length}},
         "Wi-Fi settings of " + std::to_string(length) + " bytes", 0);
    return 0;
}

int get_tv_installapklist(uint32_t value, char *buffer)
{
    const std::vector<std::string> applications =
        look([](const Television &tv) { return tv.applications; });
    const std::string reply = one_line(applications);
    if (reply.size() >= long_answer_size) {
        tell("get_tv_installapklist", {{"value", value}}, "applications? too many to tell", -1);
        return -1;
    }
    answer(buffer, long_answer_size, reply);
    tell("get_tv_installapklist", {{"value", value}}, "applications? " + reply, applications);
    return 0;
}

int get_tv_currentposition(char *buffer)
{
    const std::string place = look([](const Television &tv) { return tv.place; });
    answer(buffer, long_answer_size, place);
    tell("get_tv_currentposition", nlohmann::json::object(), "place? " + quoted(place), place);
    return 0;
}

int get_tv_metadata(const char *text1, const char *text2, uint8_t selector, char *buffer)
{
    const std::string title =
        look([](const Television &tv) { return tv.channels[tv.current].name; });
    const std::string reply = one_line({{"title", title}, {"selector", selector}});
    answer(buffer, long_answer_size, reply);
    tell("get_tv_metadata", {{"text1", text1}, {"text2", text2}, {"selector", selector}},
         "metadata of " + quoted(text1) + ", " + quoted(text2) + "? " + reply, reply);
    return 0;
}

int get_europe_version(char *buffer)
{
    answer(buffer, version_size, TVLINK_VERSION);
    tell("get_europe_version", nlohmann::json::object(), "version? " TVLINK_VERSION,
         TVLINK_VERSION);
    return 0;
}

/* A text query is answered with its own text, and a number query with the text's length. */
int echo_query(const char *slot, char *buffer, const char *text)
{
    answer(buffer, answer_size, text);
    tell(slot, {{"text", text}}, "query " + quoted(text), text);
    return 0;
}

int get_tv_code400b(char *buffer, const char *text)
{
    return echo_query("get_tv_code400b", buffer, text);
}

int get_tv_code400c(char *buffer, const char *text)
{
    return echo_query("get_tv_code400c", buffer, text);
}

int get_tv_code400d(char *buffer, const char *text)
{
    return echo_query("get_tv_code400d", buffer, text);
}

int get_tv_code4015(char *buffer, const char *text)
{
    return echo_query("get_tv_code4015", buffer, text);
}

int get_tv_code400a(uint32_t *number, const char *text)
{
    *number = static_cast<uint32_t>(strlen(text));
    tell("get_tv_code400a", {{"text", text}},
         "query " + quoted(text) + "? " + std::to_string(*number), *number);
    return 0;
}

} // namespace

void fill_settings_slots(TvMethodTable &table)
{
    table.set_tv_install_apklist = set_tv_install_apklist;
    table.set_tv_current_position = set_tv_current_position;
    table.set_tv_nick_name = set_tv_nick_name;
    table.set_tv_setting_mtnadata = set_tv_setting_mtnadata;
    table.set_tv_show_phone_connect = set_tv_show_phone_connect;
    table.set_tv_shut_down = set_tv_shut_down;
    table.set_tv_loginfromtv = set_tv_loginfromtv;
    table.get_tv_metadata = get_tv_metadata;
    table.get_tv_installapklist = get_tv_installapklist;
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
