/* SPDX-License-Identifier: MIT */
#include "narrate.h"

#include "printable.h"
#include "system.h"
#include "tvlink.h"

namespace sim
{

namespace
{

bool as_json = false;

void print_line(FILE *to, const std::string &line)
{
    print(to, line + "\n");
}

void print_object(const nlohmann::json &object)
{
    print_line(stdout, one_line(object));
}

std::string hexadecimal(int32_t code)
{
    char text[16];
    snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(code));
    return text;
}

void print_lists(size_t channels, size_t programmes, const std::vector<std::string> &remarks)
{
    print_line(stdout, "  " + std::to_string(channels) + " channels, " +
                           std::to_string(programmes) + " programmes");
    for (const std::string &remark : remarks) {
        print_line(stdout, "  " + remark);
    }
}

void introduce(const Introduction &self)
{
    print_line(stdout, "television " + quoted(self.name) + ", serial " + quoted(self.serial) +
                           ", device type " + std::to_string(self.device_type));
    for (const InterfaceAddress &entry : self.addresses) {
        print_line(stdout, "  control points connect to " + entry.address + " port " +
                               std::to_string(IPP_CONTROL_PORT) + " (" + entry.interface + ")");
    }
    print_lists(self.channels, self.programmes, self.remarks);
    const std::string host = self.addresses.empty() ? "127.0.0.1" : self.addresses.front().address;
    print_line(stdout,
               "  try: tvlink-ctl discover, or tvlink-ctl --host " + host + " info; Ctrl-C stops");
}

} // namespace

std::string one_line(const nlohmann::json &value)
{
    return tools::one_line(value);
}

void narrate_as_json(bool json)
{
    as_json = json;
}

void narrate_start(const Introduction &introduction)
{
    if (!as_json) {
        introduce(introduction);
        return;
    }
    nlohmann::json addresses = nlohmann::json::array();
    for (const InterfaceAddress &entry : introduction.addresses) {
        addresses.push_back({{"interface", entry.interface}, {"address", entry.address}});
    }
    print_object({{"type", "start"},
                  {"name", introduction.name},
                  {"serial", introduction.serial},
                  {"device_type", introduction.device_type},
                  {"port", IPP_CONTROL_PORT},
                  {"addresses", addresses},
                  {"channels", introduction.channels},
                  {"programmes", introduction.programmes},
                  {"remarks", introduction.remarks},
                  {"version", ipp_version()}});
}

void narrate_call(const char *slot, const nlohmann::json &arguments, const std::string &words,
                  const nlohmann::json &result)
{
    if (!as_json) {
        print_line(stdout, words);
        return;
    }
    print_object({{"type", "call"},
                  {"slot", slot},
                  {"arguments", arguments},
                  {"words", words},
                  {"result", result}});
}

void narrate_event(const Event &event)
{
    const char *name = event_name(event.code);
    if (!as_json) {
        const std::string text = event.text.empty() ? "" : " " + quoted(event.text);
        print_line(stdout, "  event " + hexadecimal(event.code) + " " + name + " " +
                               std::to_string(event.value) + text);
        return;
    }
    print_object({{"type", "event"},
                  {"code", static_cast<int32_t>(event.code)},
                  {"name", name},
                  {"value", event.value},
                  {"text", event.text},
                  {"data", event.data}});
}

void narrate_lists(size_t channels, size_t programmes, const std::vector<std::string> &remarks)
{
    if (as_json) {
        print_object({{"type", "lists"},
                      {"channels", channels},
                      {"programmes", programmes},
                      {"remarks", remarks}});
        return;
    }
    print_line(stdout, "lists loaded again");
    print_lists(channels, programmes, remarks);
}

void narrate_stop(const std::string &state)
{
    if (as_json) {
        print_object({{"type", "stop"}, {"state", state}});
    } else {
        print_line(stdout, "stopped: " + state);
    }
}

void narrate_failure(const std::string &reason)
{
    print_line(stderr, "tvlink-sim: " + reason);
    if (as_json) {
        print_object({{"type", "failure"}, {"reason", reason}});
    }
}

void narrate_report(const std::string &url, const std::string &failure)
{
    print_line(stderr, "tvlink-sim: report to " + url +
                           (failure.empty() ? " works again" : " failed: " + failure));
    if (as_json) {
        nlohmann::json reason = nullptr;
        if (!failure.empty()) {
            reason = failure;
        }
        print_object({{"type", "report"}, {"url", url}, {"failure", reason}});
    }
}

} // namespace sim
