/* The events that the television sends to its phones, and the outcome of an operation. */
#ifndef TVLINK_SIM_EVENTS_H
#define TVLINK_SIM_EVENTS_H

#include <cstdint>
#include <string>
#include <vector>

/* The functions of tools/common are called without their namespace. */
namespace tools
{
}

namespace sim
{

using namespace tools;

/* event_kinds() lists the meanings. */
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
    EVENT_POSITION = 0x700C,
    EVENT_PLAYER_VOLUME = 0x700D,
    EVENT_VIDEO = 0x700E,
    EVENT_DEMO = 0x700F,
    EVENT_SETTING = 0x7010,
    EVENT_APPLICATION = 0x7011,
    EVENT_PLACE = 0x7012,
    EVENT_NICKNAME = 0x7013
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

/* The outcome of one operation. */
struct Outcome {
    int status;        /* 0, or -1 when the television refused */
    std::string words; /* the line that is printed */
    std::vector<Event> events;
};

Outcome refusal(const std::string &request, const std::string &reason);

/* Names of settings, values and applications have 1 to 64 bytes. */
bool has_name_length(const std::string &name);
Outcome name_refusal(const std::string &request);
Outcome in_standby(const std::string &request);

} // namespace sim

#endif
