/* SPDX-License-Identifier: MIT */
#include "video_values.h"

#include <optional>

#include "numbers.h"
#include "printable.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr size_t max_values = 64;

std::string in_words(const VideoValue &value)
{
    const int64_t *number = std::get_if<int64_t>(&value);
    return number != nullptr ? std::to_string(*number) : quoted(std::get<std::string>(value));
}

} // namespace

Outcome keep_video_value(Television &tv, const std::string &name, const VideoValue &value)
{
    const std::string request = "video value " + quoted(name) + " -> " + in_words(value);
    if (!has_name_length(name)) {
        return name_refusal(request);
    }
    const auto kept = tv.video_values.find(name);
    if (kept == tv.video_values.end() && tv.video_values.size() == max_values) {
        return refusal(request, "no room");
    }
    Outcome outcome{0, request, {}};
    if (kept == tv.video_values.end() || kept->second != value) {
        tv.video_values[name] = value;
        outcome.events.push_back(
            {IPP_EVENT_VIDEO, static_cast<uint32_t>(tv.video_values.size()), name, {}});
    }
    return outcome;
}

VideoValue written_value(const std::string &text)
{
    const std::optional<int64_t> number = signed_decimal(text);
    return number ? VideoValue(*number) : VideoValue(text);
}

} // namespace sim
