/* The commands of tvlink-ctl, one function each. They print their results and throw a Failure. */
#ifndef TVLINK_CTL_COMMANDS_H
#define TVLINK_CTL_COMMANDS_H

#include "settings.h"

#include <string>
#include <vector>

namespace ctl
{

void discover(const Settings &settings, bool hear_announcements);

void show_info(const Settings &settings);
void show_name(const Settings &settings);
void show_text(const Settings &settings);
void show_order(const Settings &settings);

void list_keys(const Settings &settings);
void press_key(const Settings &settings, const std::string &key, const std::string &second);
void step_channel(const Settings &settings, const std::string &step);
void step_volume(const Settings &settings, const std::string &step);
void set_texts(const Settings &settings, const std::string &first, const std::string &second);

void ask_text(const Settings &settings, const std::string &text);
void send_heartbeat(const Settings &settings);

struct WatchOptions {
    double interval = 10;    /* seconds between heartbeats */
    uint32_t events = 0;     /* end after that many; 0: do not */
    uint32_t heartbeats = 0; /* end after that many answers; 0: do not */
};
void watch(const Settings &settings, const WatchOptions &options);

struct RawRequest {
    std::string code;
    std::vector<std::string> arguments;
    bool single = false; /* set: the layout is chosen by hand */
    bool list = false;
};
void raw_get(const Settings &settings, const RawRequest &raw);
void raw_set(const Settings &settings, const RawRequest &raw);
void raw_rpc(const Settings &settings, const RawRequest &raw);

} // namespace ctl

#endif
