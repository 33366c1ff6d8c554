/* SPDX-License-Identifier: MIT */
/* The URL to which the state is reported: http://ADDRESS[:PORT][/PATH]. */
#ifndef TVLINK_SIM_REPORT_URL_H
#define TVLINK_SIM_REPORT_URL_H

#include <cstdint>
#include <string>

namespace sim
{

struct ReportUrl {
    std::string address; /* dotted IPv4 */
    uint16_t port = 80;
    std::string path = "/"; /* including a query */
};

/* Parses a URL. Returns an empty text, or the reason for refusing it, with `url` unchanged. */
std::string read_report_url(const std::string &text, ReportUrl &url);

} // namespace sim

#endif
