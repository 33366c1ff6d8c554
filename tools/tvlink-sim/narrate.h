/* What the program prints: one line for each call, event and change of its own life, for people or,
 * as one JSON object a line, for scripts. Any thread; each line is whole and is flushed at once. */
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
    std::vector<std::string> remarks; /* what of the guide is not used */
};

/* Chooses the form; before the first line. */
void narrate_as_json(bool json);

void narrate_start(const Introduction &introduction);
void narrate_call(const char *slot, const nlohmann::json &arguments, const std::string &words,
                  const nlohmann::json &result);
void narrate_event(const Event &event);
void narrate_stop(const std::string &state);
/* On standard error, and as an object among the others. */
void narrate_failure(const std::string &reason);

/* On standard error, and as an object among the others: posts of the state fail for this reason,
 * or, when it is empty, work again. */
void narrate_report(const std::string &url, const std::string &failure);

/* JSON in one line; what is not UTF-8 is replaced. */
std::string one_line(const nlohmann::json &value);

} // namespace sim

#endif
