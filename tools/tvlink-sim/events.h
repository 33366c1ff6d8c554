/* SPDX-License-Identifier: MIT */
/* The events that the television sends to its phones, and the outcome of an operation. */
#ifndef TVLINK_SIM_EVENTS_H
#define TVLINK_SIM_EVENTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "tvlink/conventions.h"

/* The functions of tools/common are called without their namespace. */
namespace tools
{
}

namespace sim
{

using namespace tools;

struct EventKind {
    int32_t code; /* IPP_EVENT_... */
    const char *name;
    const char *meaning; /* of value, text and data */
};

const std::vector<EventKind> &event_kinds();
const char *event_name(int32_t code);

struct Event {
    int32_t code;   /* IPP_EVENT_... */
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
