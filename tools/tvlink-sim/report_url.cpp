/* SPDX-License-Identifier: MIT */
#include "report_url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "numbers.h"
#include "printable.h"

namespace sim
{

namespace
{

constexpr std::string_view scheme = "http://";

/* The HTTP client's buffer for the request line and its terminator has 300 bytes. */
constexpr size_t request_line_size = 300;
constexpr size_t max_path_bytes = request_line_size - sizeof "POST  HTTP/1.0\r\n";

bool is_address(const std::string &text)
{
    in_addr address;
    return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), &address) == 1;
}

/* False for blanks, control characters and non-ASCII bytes, which break the request line unless
 * they are escaped. */
bool needs_no_escape(char character)
{
    return character > ' ' && character <= '~';
}

std::string mistake_in_path(const std::string &path)
{
    if (path.size() > max_path_bytes) {
        return "the path has more than " + std::to_string(max_path_bytes) + " bytes";
    }
    if (!std::all_of(path.begin(), path.end(), needs_no_escape)) {
        return "the path " + tools::quoted(path) + " has characters that must be escaped, as %20";
    }
    return path.find('#') == std::string::npos ? "" : "a server is not told what follows #";
}

/* ADDRESS[:PORT] */
std::string read_authority(const std::string &text, ReportUrl &url)
{
    if (text.find('@') != std::string::npos) {
        return "names and passwords of users are not sent";
    }
    const size_t bracket = text.find(']'); /* the colons of an IPv6 address precede it */
    const size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
    url.address = text.substr(0, colon);
    if (!is_address(url.address)) {
        return "an IPv4 address is needed, such as 127.0.0.1, not " + tools::quoted(url.address);
    }
    if (colon == std::string::npos) {
        return "";
    }
    const std::optional<uint32_t> port = tools::decimal(text.substr(colon + 1), 65535);
    if (!port || *port == 0) {
        return "the port is a number from 1 to 65535, not " + tools::quoted(text.substr(colon + 1));
    }
    url.port = static_cast<uint16_t>(*port);
    return "";
}

} // namespace

std::string read_report_url(const std::string &text, ReportUrl &url)
{
    if (text.compare(0, scheme.size(), scheme) != 0) {
        return "it must begin with http://";
    }
    const size_t slash = std::min(text.find('/', scheme.size()), text.size());
    ReportUrl read;
    std::string mistake = read_authority(text.substr(scheme.size(), slash - scheme.size()), read);
    if (slash < text.size()) {
        read.path = text.substr(slash);
    }
    if (mistake.empty()) {
        mistake = mistake_in_path(read.path);
    }
    if (mistake.empty()) {
        url = read;
    }
    return mistake;
}

} // namespace sim
