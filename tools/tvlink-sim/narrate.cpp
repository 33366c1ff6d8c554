/* SPDX-License-Identifier: MIT */
#include "narrate.h"

#include <mutex>

#include "moment.h"
#include "printable.h"
#include "request_words.h"
#include "system.h"
#include "tvlink.h"
#include "utf8.h"

namespace sim
{

namespace
{

bool as_json = false;

void print_line(FILE *to, const std::string &line)
{
    print(to, line + "\n");
}

/* What reaches the service while it starts is kept until the line of the start has been printed. */
struct Opening {
    std::mutex lock;
    bool is_over = false;
    std::string lines;
};

/* Never destroyed: threads of the library may print while the program exits. */
Opening &opening()
{
    static Opening &opening = *new Opening;
    return opening;
}

void end_opening()
{
    const std::lock_guard<std::mutex> guard(opening().lock);
    opening().is_over = true;
    print(stdout, opening().lines);
    opening().lines.clear();
}

void print_after_start(const std::string &line)
{
    const std::lock_guard<std::mutex> guard(opening().lock);
    if (opening().is_over) {
        print_line(stdout, line);
    } else {
        opening().lines += line + "\n";
    }
}

/* What people read: the time of day in front. */
void print_words(const std::string &words)
{
    print_after_start(time_of_day(moment_now()) + " " + words);
}

std::string json_line(const char *kind, nlohmann::json object)
{
    object["time"] = date_and_time(moment_now());
    object["kind"] = kind;
    return one_line(object);
}

void print_object(const char *kind, const nlohmann::json &object)
{
    print_after_start(json_line(kind, object));
}

/* A text from a phone; one that is not UTF-8 a second time in hexadecimal. */
void add_text(nlohmann::json &object, const std::string &name, const std::string &text)
{
    object[name] = text;
    if (find_malformed(text) != std::string::npos) {
        object[name + "_hex"] =
            hex_digits(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    }
}

nlohmann::json text_or_null(const std::string &text)
{
    return text.empty() ? nlohmann::json(nullptr) : nlohmann::json(text);
}

/* The request that the calling thread runs. */
struct Origin {
    std::string peer;
    nlohmann::json facts = nlohmann::json::object();
};
thread_local Origin origin;

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

nlohmann::json start_object(const Introduction &introduction)
{
    nlohmann::json addresses = nlohmann::json::array();
    for (const InterfaceAddress &entry : introduction.addresses) {
        addresses.push_back({{"interface", entry.interface}, {"address", entry.address}});
    }
    return {{"name", introduction.name},
            {"serial", introduction.serial},
            {"device_type", introduction.device_type},
            {"port", IPP_CONTROL_PORT},
            {"addresses", addresses},
            {"channels", introduction.channels},
            {"programmes", introduction.programmes},
            {"remarks", introduction.remarks},
            {"version", ipp_version()}};
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
    if (as_json) {
        print_line(stdout, json_line("start", start_object(introduction)));
    } else {
        introduce(introduction);
    }
    end_opening();
}

void narrate_calls_of(const std::string &peer, const nlohmann::json &facts)
{
    origin = {peer, facts};
}

void narrate_notice(const Notice &notice)
{
    if (!as_json) {
        print_words((notice.peer.empty() ? "  " : notice.peer + " ") + notice.words);
        return;
    }
    nlohmann::json object = notice.facts.is_null() ? nlohmann::json::object() : notice.facts;
    object["words"] = notice.words;
    if (!notice.peer.empty()) {
        object["peer"] = notice.peer;
    }
    print_object(notice.kind, object);
}

void narrate_call(const char *slot, const nlohmann::json &arguments, const std::string &words,
                  const nlohmann::json &result)
{
    if (!as_json) {
        print_words(origin.peer.empty() ? words : origin.peer + ": " + words);
        return;
    }
    nlohmann::json object = origin.facts;
    object["slot"] = slot;
    object["arguments"] = arguments;
    object["words"] = words;
    object["result"] = result;
    if (!origin.peer.empty()) {
        object["peer"] = origin.peer;
    }
    print_object("call", object);
}

void narrate_event(const Event &event)
{
    const char *name = event_name(event.code);
    if (!as_json) {
        const std::string text = event.text.empty() ? "" : " " + quoted(event.text);
        print_words("  event " + code_words(static_cast<uint16_t>(event.code)) + " " + name + " " +
                    std::to_string(event.value) + text);
        return;
    }
    nlohmann::json object = {{"code", hex_code(static_cast<uint16_t>(event.code))},
                             {"name", name},
                             {"value", event.value},
                             {"data", hex_digits(event.data.data(), event.data.size())}};
    add_text(object, "text", event.text);
    print_object("event", object);
}

void narrate_lists(size_t channels, size_t programmes, const std::vector<std::string> &remarks)
{
    if (as_json) {
        print_object("lists",
                     {{"channels", channels}, {"programmes", programmes}, {"remarks", remarks}});
        return;
    }
    print_words("lists loaded again");
    print_lists(channels, programmes, remarks);
}

void narrate_stop(const std::string &state)
{
    if (as_json) {
        print_object("stop", {{"state", state}});
    } else {
        print_words("stopped: " + state);
    }
}

void narrate_failure(const std::string &reason)
{
    print_line(stderr, "tvlink-sim: " + reason);
    if (as_json) {
        print_line(stdout, json_line("failure", {{"reason", reason}}));
    }
}

void narrate_report(const std::string &url, const std::string &failure)
{
    print_line(stderr, "tvlink-sim: report to " + url +
                           (failure.empty() ? " works again" : " failed: " + failure));
    if (as_json) {
        print_object("report", {{"url", url}, {"failure", text_or_null(failure)}});
    }
}

void narrate_keeping(const std::string &file, const std::string &failure)
{
    print_line(stderr, "tvlink-sim: state in " + file +
                           (failure.empty() ? " is kept again" : " is not kept: " + failure));
    if (as_json) {
        print_object("state", {{"file", file}, {"failure", text_or_null(failure)}});
    }
}

} // namespace sim
