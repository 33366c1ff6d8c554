/* Where the state is reported to: http://ADDRESS[:PORT][/PATH]. */
#ifndef TVLINK_SIM_REPORT_URL_H
#define TVLINK_SIM_REPORT_URL_H

#include <cstdint>
#include <string>

namespace sim
{

struct ReportUrl {
    std::string address; /* dotted IPv4 */
    uint16_t port = 80;
    std::string path = "/"; /* with the query, if there is one */
};

/* Takes the text apart. What is wrong with it, and then `url` stays as it is; empty when nothing
 * is. */
std::string read_report_url(const std::string &text, ReportUrl &url);

} // namespace sim

#endif
