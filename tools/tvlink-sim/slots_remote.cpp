/* SPDX-License-Identifier: MIT */
/* Keys, steps, modes, pointer, switches and typed text. */
#include "slots.h"

#include "host.h"
#include "keys.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

/* A slot that has nothing to keep: it only shows that it was called. */
int acknowledge(const char *slot, const nlohmann::json &arguments, const std::string &words)
{
    narrate_call(slot, arguments, words, 0);
    return 0;
}

} // namespace

int set_tv_channel(int32_t step)
{
    return run_operation("set_tv_channel", {{"step", step}},
                         [=](Television &tv) { return step_channel(tv, step); });
}

int set_tv_key(uint32_t key, uint32_t value)
{
    return run_operation("set_tv_key", {{"key", key}, {"value", value}},
                         [=](Television &tv) { return press_key(tv, key, value); });
}

int set_tv_volume(int32_t step)
{
    return run_operation("set_tv_volume", {{"step", step}},
                         [=](Television &tv) { return step_volume(tv, step); });
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

int set_tv_mode(uint32_t mode)
{
    return run_operation("set_tv_mode", {{"mode", mode}},
                         [=](Television &tv) { return set_picture_mode(tv, mode); });
}

int set_tv_powermode(uint8_t mode)
{
    return run_operation("set_tv_powermode", {{"mode", mode}},
                         [=](Television &tv) { return set_power(tv, mode != 0); });
}

int set_tv_mute(uint8_t mute)
{
    return run_operation("set_tv_mute", {{"mute", mute}},
                         [=](Television &tv) { return set_mute(tv, mute != 0); });
}

int set_tv_mouse(int16_t value1, int16_t value2, int16_t value3)
{
    return acknowledge("set_tv_mouse", {{"values", {value1, value2, value3}}},
                       "pointer " + std::to_string(value1) + ", " + std::to_string(value2) + ", " +
                           std::to_string(value3));
}

int set_tv_touch(int32_t x, int32_t y)
{
    return acknowledge("set_tv_touch", {{"x", x}, {"y", y}},
                       "touch at " + std::to_string(x) + ", " + std::to_string(y));
}

int set_tv_searchchannel()
{
    return run_operation("set_tv_searchchannel", nlohmann::json::object(), search_channels);
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

int set_tv_code3001(const char *text)
{
    return acknowledge("set_tv_code3001", {{"text", text}}, "code 3001: " + quoted(text));
}

} // namespace sim
