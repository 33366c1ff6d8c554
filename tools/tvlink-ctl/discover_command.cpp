#include "commands.h"
#include "output.h"
#include "session.h"

namespace ctl
{
namespace
{

constexpr size_t most_televisions = 256;

void print_television(const Settings &settings, const CpTelevision &television)
{
    const std::string address = address_text(cp_television_address(&television));
    const std::string source = address_text(television.source);
    std::string line = "television at " + address + ":" + std::to_string(television.port) +
                       ", device type " + std::to_string(television.device_type);
    if (television.address == 0) {
        line += ", which does not know its address";
    } else if (television.address != television.source) {
        line += ", answer came from " + source;
    }
    print_line(settings, line,
               {{"address", address},
                {"port", int64_t{television.port}},
                {"device_type", int64_t{television.device_type}},
                {"told_address", address_text(television.address)},
                {"source", source}});
}

} // namespace

void discover(const Settings &settings, bool hear_announcements)
{
    const char *host = settings.host.empty() ? nullptr : settings.host.c_str();
    const CpSearch search = {host, hear_announcements, to_milliseconds(settings.timeout), 0};
    std::vector<CpTelevision> list(most_televisions);
    size_t found = 0;
    const CpStatus status = cp_discover(&search, list.data(), list.size(), &found);
    if (status != CP_OK) {
        search_failed(settings, status);
    }
    for (size_t i = 0; i < found; i++) {
        print_television(settings, list[i]);
    }
}

} // namespace ctl
