/* SPDX-License-Identifier: MIT */
#include "state_report.h"

#include <cstdlib>
#include <memory>

#include "host.h"
#include "narrate.h"
#include "report_url.h"
#include "reporter.h"
#include "tvlink/host/http_client.h"

namespace sim
{

namespace
{

/* Never destroyed: a post may go on until the process ends. */
Reporter &reporter()
{
    static Reporter &reporter = *new Reporter;
    return reporter;
}

struct FreeText {
    void operator()(char *text) const
    {
        free(text);
    }
};

std::string newest_state()
{
    return one_line(present_state());
}

/* Returns the reason of a failure; empty on success. Any answer with a text is a success, since the
 * HTTP client ignores the status. */
std::string post_state(const ReportUrl &url, const std::string &state)
{
    WebTcpClient client;
    if (web_tcpclient_create(&client, url.address.c_str(), url.port) != 0) {
        return "no socket";
    }
    char *text = nullptr;
    const int result = http_post_string(&client, url.path.c_str(), state.c_str(), &text);
    const std::unique_ptr<char, FreeText> answer(text);
    const bool connected = client.connected != 0;
    web_tcpclient_close(&client);
    if (!connected) {
        return "no connection";
    }
    return result == 1 ? "" : "no answer that could be read";
}

} // namespace

void start_state_report(const std::string &text)
{
    ReportUrl url;
    if (!read_report_url(text, url).empty()) {
        return;
    }
    start_reporter(reporter(),
                   {newest_state,
                    [url](const std::string &state) { return post_state(url, state); },
                    [text](const std::string &failure) { narrate_report(text, failure); }});
}

void note_state_change()
{
    state_changed(reporter());
}

void end_state_report()
{
    end_reporter(reporter());
}

void finish_state_report(const std::string &url, std::chrono::steady_clock::time_point deadline)
{
    const auto left = deadline - std::chrono::steady_clock::now();
    if (!reporter_has_ended(reporter(),
                            std::chrono::duration_cast<std::chrono::milliseconds>(left))) {
        narrate_report(url, "no answer before the end");
    }
}

} // namespace sim
