/* SPDX-License-Identifier: MIT */
#include "applications.h"

#include <algorithm>

#include "printable.h"
#include "television.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t max_applications = 32;

/* "app." and the name's letters and digits. */
std::string package_of(const std::string &name)
{
    std::string package = "app.";
    for (const char letter : name) {
        const char small = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
        if ((small >= 'a' && small <= 'z') || (small >= '0' && small <= '9')) {
            package.push_back(small);
        }
    }
    return package;
}

} // namespace

std::vector<Application> delivered_applications()
{
    return {{"Weather", "app.weather", "2.1"},
            {"Radio", "app.radio", "1.4.2"},
            {"Photos", "app.photos", "3.0"}};
}

Outcome install_application(Television &tv, const std::string &name)
{
    const std::string request = "install " + quoted(name);
    if (!has_name_length(name)) {
        return name_refusal(request);
    }
    const auto installed =
        std::find_if(tv.applications.begin(), tv.applications.end(),
                     [&](const Application &entry) { return equal_words(entry.name, name); });
    if (installed != tv.applications.end()) {
        return {0, request + " -> is installed", {}};
    }
    if (tv.applications.size() == max_applications) {
        return refusal(request, "no room");
    }
    tv.applications.push_back({name, package_of(name), "1.0"});
    return {0,
            request,
            {{IPP_EVENT_APPLICATION, static_cast<uint32_t>(tv.applications.size()), name, {}}}};
}

} // namespace sim
