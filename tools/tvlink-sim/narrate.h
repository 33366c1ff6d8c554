/* SPDX-License-Identifier: MIT */
/* The program's output: one line for each call, event, start, stop and failure, and for each thing
 * that reaches the service, as text for people or as one JSON object a line for scripts
 * (docs/sim-events.schema.json). Thread-safe: lines do not interleave, and each is flushed at once.
 */
#ifndef TVLINK_SIM_NARRATE_H
#define TVLINK_SIM_NARRATE_H

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "television.h"

namespace sim
{

struct InterfaceAddress {
    std::string interface;
    std::string address;
};

struct Introduction {
    std::string name;
    std::string serial;
    uint32_t device_type;
    std::vector<InterfaceAddress> addresses;
    size_t channels;
    size_t programmes;
    std::vector<std::string> remarks; /* which programmes of the guide were left out */
};

/* Something that reached the service, or that became of it. */
struct Notice {
    const char *kind;     /* in JSON */
    std::string peer;     /* address of the phone; empty for none */
    std::string words;    /* for people */
    nlohmann::json facts; /* an object, or null: what JSON has beside time, kind, peer and words */
};

/* Selects text or JSON, before the first line. */
void narrate_as_json(bool json);

void narrate_notice(const Notice &notice);

/* The calls of this thread belong to a request of this peer from now on; `facts` describe it. */
void narrate_calls_of(const std::string &peer, const nlohmann::json &facts);

/* The first line; those of what has reached the service before follow it. */
void narrate_start(const Introduction &introduction);
void narrate_call(const char *slot, const nlohmann::json &arguments, const std::string &words,
                  const nlohmann::json &result);
void narrate_event(const Event &event);
/* The television has loaded its lists again. */
void narrate_lists(size_t channels, size_t programmes, const std::vector<std::string> &remarks);
void narrate_stop(const std::string &state);
/* Prints to standard error and, in JSON form, an object to standard output. */
void narrate_failure(const std::string &reason);

/* As narrate_failure: posts of the state fail for this reason or, when it is empty, succeed again.
 */
void narrate_report(const std::string &url, const std::string &failure);

/* The same of writing the state into a file. */
void narrate_keeping(const std::string &file, const std::string &failure);

/* JSON on one line; malformed UTF-8 is replaced. */
std::string one_line(const nlohmann::json &value);

} // namespace sim

#endif
