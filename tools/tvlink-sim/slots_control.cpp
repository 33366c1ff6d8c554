/* The plain remote control: keys, steps, modes, texts, pointer, pairing and the unnamed switches.
 */
#include "slots.h"

#include "host.h"
#include "keys.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

constexpr size_t text_size = 256;

/* A slot that has nothing to keep: it only shows that it was called. */
int acknowledge(const char *slot, const nlohmann::json &arguments, const std::string &words)
{
    narrate_call(slot, arguments, words, 0);
    return 0;
}

int set_tv_channel(int32_t step)
{
    return run_operation("set_tv_channel", {{"step", step}},
                         [=](Television &tv) { return step_channel(tv, step); });
}

int set_tv_volume(int32_t step)
{
    return run_operation("set_tv_volume", {{"step", step}},
                         [=](Television &tv) { return step_volume(tv, step); });
}

int set_tv_key(uint32_t key, uint32_t value)
{
    return run_operation("set_tv_key", {{"key", key}, {"value", value}},
                         [=](Television &tv) { return press_key(tv, key, value); });
}

int set_tv_textpair(const char *second, const char *first)
{
    return run_operation("set_tv_textpair", {{"second", second}, {"first", first}},
                         [=](Television &tv) { return type_text(tv, first, second); });
}

int get_tv_text(char *buffer)
{
    const std::string text = read_state([](const Television &tv) { return tv.text; });
    answer(buffer, text_size, text);
    narrate_call("get_tv_text", nlohmann::json::object(), "text? " + quoted(text), text);
    return 0;
}

int set_tv_mute(uint8_t mute)
{
    return run_operation("set_tv_mute", {{"mute", mute}},
                         [=](Television &tv) { return set_mute(tv, mute != 0); });
}

int set_tv_powermode(uint8_t mode)
{
    return run_operation("set_tv_powermode", {{"mode", mode}},
                         [=](Television &tv) { return set_power(tv, mode != 0); });
}

int set_tv_mode(uint32_t mode)
{
    return run_operation("set_tv_mode", {{"mode", mode}},
                         [=](Television &tv) { return set_picture_mode(tv, mode); });
}

int set_tv_name(const char *name, uint32_t length)
{
    return run_operation("set_tv_name", {{"name", name}, {"length", length}},
                         [=](Television &tv) { return rename_television(tv, name); });
}

int set_tv_bind()
{
    return run_operation("set_tv_bind", nlohmann::json::object(), [](Television &tv) {
        return pair_phone(tv, tv.phone.empty() ? "a phone" : tv.phone);
    });
}

int set_tv_showphone(const char *text, uint32_t length)
{
    return run_operation("set_tv_showphone", {{"text", text}, {"length", length}},
                         [=](Television &tv) { return pair_phone(tv, text); });
}

int set_tv_searchchannel()
{
    return run_operation("set_tv_searchchannel", nlohmann::json::object(), search_channels);
}

int set_tv_order(uint16_t first, uint16_t second, int kind)
{
    return run_operation("set_tv_order", {{"first", first}, {"second", second}, {"kind", kind}},
                         [=](Television &tv) { return reorder_channels(tv, first, second, kind); });
}

int set_tv_touch(int32_t x, int32_t y)
{
    return acknowledge("set_tv_touch", {{"x", x}, {"y", y}},
                       "touch at " + std::to_string(x) + ", " + std::to_string(y));
}

int set_tv_mouse(int16_t value1, int16_t value2, int16_t value3)
{
    return acknowledge("set_tv_mouse", {{"values", {value1, value2, value3}}},
                       "pointer " + std::to_string(value1) + ", " + std::to_string(value2) + ", " +
                           std::to_string(value3));
}

int set_tv_int3(uint32_t value1, uint32_t value2, uint32_t value3)
{
    return acknowledge("set_tv_int3", {{"values", {value1, value2, value3}}},
                       "three values " + std::to_string(value1) + ", " + std::to_string(value2) +
                           ", " + std::to_string(value3));
}

int set_tv_action1()
{
    return acknowledge("set_tv_action1", nlohmann::json::object(), "action 1");
}

int set_tv_action2()
{
    return acknowledge("set_tv_action2", nlohmann::json::object(), "action 2");
}

int set_tv_code0115(const char *text, uint16_t value)
{
    return acknowledge("set_tv_code0115", {{"text", text}, {"value", value}},
                       "code 0115: " + quoted(text) + ", " + std::to_string(value));
}

int set_tv_code3001(const char *text)
{
    return acknowledge("set_tv_code3001", {{"text", text}}, "code 3001: " + quoted(text));
}

int set_tv_code0116(uint16_t value)
{
    return acknowledge("set_tv_code0116", {{"value", value}},
                       "code 0116: " + std::to_string(value));
}

int set_tv_code0117(uint32_t value)
{
    return acknowledge("set_tv_code0117", {{"value", value}},
                       "code 0117: " + std::to_string(value));
}

/* The single states that phones ask for: here whether the set is on, muted, what it shows, and its
 * picture. */
int answer_state(const char *slot, const nlohmann::json &arguments, const std::string &question,
                 uint32_t state)
{
    narrate_call(slot, arguments, question + "? " + std::to_string(state), state);
    return static_cast<int>(state);
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

int get_device_info(char *buffer)
{
    const std::string text = std::string("tvlink-sim ") + TVLINK_VERSION;
    answer(buffer, text_size, text);
    narrate_call("get_device_info", nlohmann::json::object(), "device information? " + quoted(text),
                 text);
    return 0;
}

} // namespace

void fill_control_slots(TvMethodTable &table)
{
    table.set_tv_code0115 = set_tv_code0115;
    table.set_tv_code3001 = set_tv_code3001;
    table.set_tv_code0116 = set_tv_code0116;
    table.set_tv_code0117 = set_tv_code0117;
    table.get_tv_code0105 = get_tv_code0105;
    table.get_tv_text = get_tv_text;
    table.get_tv_code010e = get_tv_code010e;
    table.get_tv_code0001 = get_tv_code0001;
    table.set_tv_mute = set_tv_mute;
    table.set_tv_action2 = set_tv_action2;
    table.set_tv_action1 = set_tv_action1;
    table.set_tv_bind = set_tv_bind;
    table.set_tv_searchchannel = set_tv_searchchannel;
    table.set_tv_showphone = set_tv_showphone;
    table.set_tv_mode = set_tv_mode;
    table.get_tv_code2005 = get_tv_code2005;
    table.set_tv_volume = set_tv_volume;
    table.set_tv_powermode = set_tv_powermode;
    table.set_tv_key = set_tv_key;
    table.set_tv_touch = set_tv_touch;
    table.set_tv_channel = set_tv_channel;
    table.set_tv_mouse = set_tv_mouse;
    table.set_tv_textpair = set_tv_textpair;
    table.set_tv_order = set_tv_order;
    table.set_tv_int3 = set_tv_int3;
    table.set_tv_name = set_tv_name;
    table.get_device_info = get_device_info;
}

} // namespace sim
