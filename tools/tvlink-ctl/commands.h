/* The commands of tvlink-ctl, one function each. They print their results and throw a Failure. */
#ifndef TVLINK_CTL_COMMANDS_H
#define TVLINK_CTL_COMMANDS_H

#include "failure.h"
#include "settings.h"

#include <string>
#include <vector>

namespace ctl
{

void discover(const Settings &settings, bool hear_announcements);
void listen_for_televisions(const Settings &settings);

/* Tells the verdict, too, and returns its status. The command is named doctor. */
ExitStatus examine_network(const Settings &settings);

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

void play_address(const Settings &settings, const std::string &address);
void play_start(const Settings &settings);
void play_pause(const Settings &settings);
void play_stop(const Settings &settings);
void play_seek(const Settings &settings, const std::string &position);
void play_volume(const Settings &settings, const std::string &volume);
void play_operation(const Settings &settings, const std::string &operation,
                    const std::string &value);
void show_play_status(const Settings &settings);

struct FilmOptions {
    std::string what;  /* a film, an address, or what the television's host makes of it */
    bool of = false;   /* `what` was given, be it empty */
    std::string title; /* to show while it plays */
    std::string at;    /* where to begin */
};
void list_films(const Settings &settings, const FilmOptions &options);
void show_film_status(const Settings &settings, const FilmOptions &options);
void show_film_player(const Settings &settings, const FilmOptions &options);
void show_film_title(const Settings &settings, const std::string &film, const FilmOptions &options);
void start_film(const Settings &settings, const FilmOptions &options);

struct GuideOptions {
    bool week = false;
    bool all = false;
    bool search_given = false;
    bool descriptions = false;
    std::string search;
    std::string channel; /* empty: every one */
    std::string from;    /* empty: from the beginning */
};
void show_guide(const Settings &settings, const GuideOptions &options);

struct ChannelOptions {
    bool short_form = false;
    bool filter_given = false;
    std::string filter;
};
void show_channels(const Settings &settings, const ChannelOptions &options);

struct CaptureOptions {
    std::string file;
    uint16_t width = 0; /* 0: as it is */
    uint16_t height = 0;
};
void save_screenshot(const Settings &settings, const CaptureOptions &options);

void show_applications(const Settings &settings);
void show_place(const Settings &settings);
void show_version(const Settings &settings, bool all);
void show_state(const Settings &settings, bool all);
void show_metadata(const Settings &settings, bool film, const std::string &title);
void show_settings(const Settings &settings, const std::string &name);
void count_settings(const Settings &settings, const std::string &beginning);
void change_setting(const Settings &settings, const std::string &name, const std::string &value);
void speak(const Settings &settings, const std::string &text);

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
