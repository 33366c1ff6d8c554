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
constexpr size_t max_name_bytes = 64;

std::string shown(const VideoValue &value)
{
    const int64_t *number = std::get_if<int64_t>(&value);
    return number != nullptr ? std::to_string(*number) : quoted(std::get<std::string>(value));
}

} // namespace

Outcome keep_video_value(Television &tv, const std::string &name, const VideoValue &value)
{
    const std::string request = "video value " + quoted(name) + " -> " + shown(value);
    if (name.empty() || name.size() > max_name_bytes) {
        return refusal(request, "a name has 1 to " + std::to_string(max_name_bytes) + " bytes");
    }
    const auto kept = tv.video_values.find(name);
    if (kept == tv.video_values.end() && tv.video_values.size() == max_values) {
        return refusal(request, "no room");
    }
    Outcome outcome{0, request, {}};
    if (kept == tv.video_values.end() || kept->second != value) {
        tv.video_values[name] = value;
        outcome.events.push_back(
            {EVENT_VIDEO, static_cast<uint32_t>(tv.video_values.size()), name, {}});
    }
    return outcome;
}

VideoValue written_value(const std::string &text)
{
    const std::optional<int64_t> number = signed_decimal(text);
    return number ? VideoValue(*number) : VideoValue(text);
}

} // namespace sim
