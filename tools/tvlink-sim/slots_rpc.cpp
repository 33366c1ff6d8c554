/* SPDX-License-Identifier: MIT */
/* String remote procedure calls: a word and, for some, a text behind it. */
#include "slots.h"

#include "guide_push.h"
#include "host.h"
#include "narrate.h"
#include "printable.h"
#include "state_json.h"

namespace sim
{

namespace
{

std::string error_reply(const std::string &reason)
{
    return one_line({{"error", reason}});
}

std::string state_reply(const std::string &)
{
    return one_line(present_state());
}

/* "NAME VALUE" keeps a value; nothing asks for all. */
std::string video_reply(const std::string &words)
{
    if (words.empty()) {
        return one_line(
            read_state([](const Television &tv) { return video_values_json(tv.video_values); }));
    }
    const size_t blank = words.find(' ');
    if (blank == std::string::npos) {
        return error_reply("vod NAME VALUE, or vod alone");
    }
    const std::string name = words.substr(0, blank);
    const VideoValue value = written_value(words.substr(blank + 1));
    const int status = run_operation(
        "vod", {{"name", name}}, [&](Television &tv) { return keep_video_value(tv, name, value); });
    return status == 0 ? one_line(video_values_json({{name, value}}))
                       : error_reply("the value was refused");
}

std::string push_reply(const std::string &words)
{
    if (words != "guide") {
        return error_reply("push guide");
    }
    const GuidePush push = push_guide();
    return one_line({{"entries", push.entries}, {"pushed", push.phones}});
}

std::string echo_reply(const std::string &words)
{
    return words;
}

std::string ping_reply(const std::string &)
{
    return "pong";
}

std::string help_reply(const std::string &)
{
    return "ping, state, echo TEXT, vod, vod NAME VALUE, push guide, help";
}

struct Request {
    const char *word;
    bool alone; /* nothing may stand behind it */
    std::string (*reply)(const std::string &words);
};

const Request requests[] = {
    {"ping", true, ping_reply},  {"help", true, help_reply},  {"state", true, state_reply},
    {"echo", false, echo_reply}, {"vod", false, video_reply}, {"push", false, push_reply},
};

std::string reply_to(const std::string &request)
{
    const size_t blank = request.find(' ');
    const std::string word = request.substr(0, blank);
    const std::string words = blank == std::string::npos ? "" : request.substr(blank + 1);
    for (const Request &known : requests) {
        if (word == known.word && (!known.alone || blank == std::string::npos)) {
            return known.reply(words);
        }
    }
    return error_reply("unknown request, try help");
}

} // namespace

int answer_rpc(char *buffer, const char *request)
{
    const std::string reply = reply_to(request);
    const bool fits = reply.size() < IPP_RPC_ANSWER_SIZE;
    answer(buffer, IPP_RPC_ANSWER_SIZE, fits ? reply : error_reply("the answer is too long"));
    narrate_call("tv_ippRpcFunSet", {{"request", request}},
                 "call " + quoted(request) + " -> " + quoted(buffer), buffer);
    return 1;
}

} // namespace sim
