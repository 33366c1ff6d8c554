/* SPDX-License-Identifier: MIT */
/* Phones, accounts and voice. Passwords pass through here: their slots print lengths only. */
#include "slots.h"

#include <cstring>

#include "host.h"
#include "narrate.h"
#include "voice.h"

namespace sim
{

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

int set_tv_show_phone_connect(const char *text1, const char *text2)
{
    return run_operation("set_tv_show_phone_connect", {{"texts", {text1, text2}}},
                         [=](Television &tv) { return pair_phone(tv, text1); });
}

int set_tv_nick_name(const char *text, uint32_t number)
{
    return run_operation("set_tv_nick_name", {{"text", text}, {"number", number}},
                         [=](Television &tv) { return set_nickname(tv, text); });
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

int tv_sendvoice(const void *data, uint32_t length)
{
    const std::string spoken(static_cast<const char *>(data), length);
    return run_operation("tv_sendvoice", {{"length", length}},
                         [=](Television &tv) { return obey_voice(tv, spoken, seconds_now()); });
}

} // namespace sim
