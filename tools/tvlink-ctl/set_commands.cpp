/* The commands that make the television do one thing. */
#include "arguments.h"
#include "commands.h"
#include "exchange.h"
#include "key_names.h"
#include "output.h"

namespace ctl
{
void list_keys(const Settings &settings)
{
    for (const tools::KeyName &key : tools::key_names) {
        print_line(settings, std::string(key.name) + " " + std::to_string(key.code),
                   {{"name", std::string(key.name)}, {"number", int64_t{key.code}}});
    }
}

void press_key(const Settings &settings, const std::string &key, const std::string &second)
{
    Request request;
    require_built(cp_build_key(&request.buffer, parse_key(key), parse_number(second, UINT32_MAX)),
                  "");
    carry_out(settings, request, "key " + key);
}

void step_channel(const Settings &settings, const std::string &step)
{
    Request request;
    require_built(cp_build_channel_step(&request.buffer, parse_step(step)), "");
    carry_out(settings, request, "channel " + step);
}

void step_volume(const Settings &settings, const std::string &step)
{
    Request request;
    require_built(cp_build_volume_step(&request.buffer, parse_step(step)), "");
    carry_out(settings, request, "volume " + step);
}

void set_texts(const Settings &settings, const std::string &first, const std::string &second)
{
    Request request;
    require_built(cp_build_text_pair(&request.buffer, bytes_of(first), bytes_of(second)),
                  text_hint);
    carry_out(settings, request, "the two texts");
}

} // namespace ctl
