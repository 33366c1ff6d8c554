/* String remote procedure calls: a word and, for some, a text behind it. */
#include "slots.h"

#include "host.h"
#include "narrate.h"
#include "printable.h"

namespace sim
{

namespace
{

nlohmann::json state_object(const Television &tv)
{
    return {{"name", tv.name},
            {"on", tv.on},
            {"channel", tv.channels[tv.current].number},
            {"channel_name", tv.channels[tv.current].name},
            {"volume", tv.volume},
            {"muted", tv.muted},
            {"picture", picture_mode_name(tv.picture_mode)},
            {"text", tv.text},
            {"phone", tv.phone},
            {"last_key", tv.last_key},
            {"player", play_state_name(tv.player.state)}};
}

std::string reply_to(const std::string &request)
{
    if (request == "ping") {
        return "pong";
    }
    if (request == "help") {
        return "ping, state, echo TEXT, help";
    }
    if (request == "state") {
        return one_line(look(state_object));
    }
    if (request.rfind("echo ", 0) == 0) {
        return request.substr(5);
    }
    return one_line({{"error", "unknown request, try help"}});
}

} // namespace

int answer_rpc(char *buffer, const char *request)
{
    const std::string reply = reply_to(request);
    const bool fits = reply.size() < IPP_RPC_ANSWER_SIZE;
    answer(buffer, IPP_RPC_ANSWER_SIZE,
           fits ? reply : one_line({{"error", "the answer is too long"}}));
    tell("tv_ippRpcFunSet", {{"request", request}},
         "call " + quoted(request) + " -> " + quoted(buffer), buffer);
    return 1;
}

} // namespace sim
