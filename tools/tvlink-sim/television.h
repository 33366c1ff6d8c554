/* The state of a plausible television, and what its operations do to it.
 *
 * No clock, no threads and no library: whoever shares a Television among threads locks it, and
 * times are arguments. */
#ifndef TVLINK_SIM_TELEVISION_H
#define TVLINK_SIM_TELEVISION_H

#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

/* What the television tells its phones of its own accord; event_kinds() lists the meanings. */
enum EventCode : int32_t {
    EVENT_CHANNEL = 0x7001,
    EVENT_VOLUME = 0x7002,
    EVENT_MUTE = 0x7003,
    EVENT_POWER = 0x7004,
    EVENT_PICTURE = 0x7005,
    EVENT_TEXT = 0x7006,
    EVENT_ORDER = 0x7007,
    EVENT_PHONE = 0x7008,
    EVENT_NAME = 0x7009,
    EVENT_KEY = 0x700A,
    EVENT_PLAYER = 0x700B,
    EVENT_DEMO = 0x700F
};

struct EventKind {
    EventCode code;
    const char *name;
    const char *meaning; /* of value, text and data */
};

const std::vector<EventKind> &event_kinds();
const char *event_name(EventCode code);

struct Event {
    EventCode code;
    uint32_t value; /* its low 16 bits are sent */
    std::string text;
    std::vector<uint8_t> data;
};

/* What one operation did. */
struct Outcome {
    int status; /* 0, or -1 when the television refused */
    std::string words;
    std::vector<Event> events;
};

struct Channel {
    uint16_t number;
    std::string name;
};

enum class PlayState : uint8_t { Stopped = 0, Playing = 1, Paused = 2 };

struct Player {
    PlayState state = PlayState::Stopped;
    std::string address;
    uint32_t duration = 0; /* seconds */
    uint32_t position = 0; /* seconds, at the time `since` */
    uint32_t since = 0;
    uint8_t volume = 128;
};

struct Television {
    std::string name;
    bool on = true;
    int32_t volume = 20; /* 0 to 100 */
    bool muted = false;
    uint32_t picture_mode = 0;
    std::vector<Channel> channels; /* in the order in which the channel keys walk through them */
    size_t current = 0;            /* index of the channel that is shown */
    std::string text;              /* what a phone has typed */
    std::string text_label;        /* the second text that came with it */
    std::string phone;             /* the paired phone; empty for none */
    uint32_t last_key = 0;
    Player player;
    std::vector<std::string> applications;
    std::string nickname;
    std::string place;
};

Television make_television(const std::string &name);

/* The remote control. In standby only power and its key work. */
Outcome step_channel(Television &tv, int32_t step);
Outcome step_volume(Television &tv, int32_t step);
Outcome set_mute(Television &tv, bool muted);
Outcome set_power(Television &tv, bool on);
Outcome set_picture_mode(Television &tv, uint32_t mode);
Outcome press_key(Television &tv, uint32_t key, uint32_t value);
Outcome type_text(Television &tv, const std::string &text, const std::string &label);

/* Kind 1: the channels with these two numbers change places. Kind 2: the first moves to where the
 * second is. */
Outcome reorder_channels(Television &tv, uint16_t first, uint16_t second, int kind);
/* Finds one more channel, up to a limit. */
Outcome search_channels(Television &tv);
Outcome pair_phone(Television &tv, const std::string &phone);
Outcome rename_television(Television &tv, const std::string &name);

/* The player. `now` is any clock in seconds that does not go back. */
Outcome open_stream(Television &tv, const std::string &address);
Outcome play(Television &tv, uint32_t now);
Outcome pause_player(Television &tv, uint32_t now);
Outcome stop_player(Television &tv, uint32_t now);
Outcome seek_player(Television &tv, int32_t position, uint32_t now);
Outcome set_player_volume(Television &tv, uint8_t volume);
uint32_t player_position(const Player &player, uint32_t now);

Outcome install_application(Television &tv, const std::string &application);

const char *picture_mode_name(uint32_t mode);
const char *play_state_name(PlayState state);
/* The channels' numbers in order, two bytes each, little-endian. */
std::vector<uint8_t> channel_order(const Television &tv);
/* The state in one line. */
std::string summary(const Television &tv);
/* A picture of the screen as a portable pixmap (P6); sizes out of 16 to 640 are brought inside. */
std::vector<uint8_t> draw_screen(const Television &tv, int width, int height);

} // namespace sim

#endif
