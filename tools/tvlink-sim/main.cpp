/* SPDX-License-Identifier: MIT */
/* tvlink-sim: a simulated television, the reference host of the library. */
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "events.h"
#include "identity.h"
#include "report_url.h"
#include "service.h"
#include "slot_list.h"
#include "tvlink.h"

namespace
{

constexpr int status_usage = 2;

std::string event_table()
{
    std::string table = "Events:\n";
    for (const sim::EventKind &kind : sim::event_kinds()) {
        char line[128];
        snprintf(line, sizeof line, "  0x%04X  %-13s %s\n", static_cast<unsigned>(kind.code),
                 kind.name, kind.meaning);
        table += line;
    }
    return table +
           "\n"
           "Each line of output is something that reached the television, such as a search, "
           "a connection\n"
           "or a request, and what became of it, or an event that it reported.\n"
           "\n"
           "Exit status:\n"
           "  0  stopped by SIGINT or SIGTERM\n"
           "  1  the service could not start, such as when port 8801 is taken\n"
           "  2  the command line is wrong\n"
           "  3  a channel list or a guide cannot be read, or is wrong;\n"
           "     or the kept state cannot be read\n";
}

std::string check_length(const std::string &text)
{
    return text.size() <= IPP_TEXT_LIMIT
               ? ""
               : "longer than " + std::to_string(IPP_TEXT_LIMIT) + " bytes";
}

std::string check_report_url(const std::string &text)
{
    sim::ReportUrl url;
    return sim::read_report_url(text, url);
}

std::string check_screen_size(const std::string &text)
{
    return sim::read_screen_size(text) ? "" : "not a size from 160x90 to 3840x2160";
}

void define_options(CLI::App &app, sim::Options &options, bool &slots)
{
    app.add_option("--name", options.name, "Name that phones show")
        ->option_text("TEXT=" + options.name)
        ->check(check_length);
    app.add_option("--serial", options.serial, "Serial number")
        ->option_text("TEXT=" + options.serial)
        ->check(check_length);
    app.add_option("--device-type", options.device_type,
                   "Number from 0 to 65535 that phones are told when they search")
        ->option_text("NUMBER=" + std::to_string(options.device_type))
        ->check(CLI::Range(0U, 65535U));
    app.add_option("--channels", options.files.channels,
                   "Channel list, an M3U playlist; without this option the channels of the guide, "
                   "or a sample")
        ->option_text("FILE");
    app.add_option("--guide", options.files.guide,
                   "Programme guide in XMLTV; a sample for the sample's channels")
        ->option_text("FILE");
    app.add_flag("--guide-starts-today", options.files.guide_starts_today,
                 "Move the guide by whole days so that its first is today, as the sample's is");
    app.add_flag("--watch-files", options.watch_files,
                 "Load both files again when they change, as SIGHUP does");
    app.add_option("--language", options.files.language,
                   "Language of the guide's titles and channel names where it has several, as en")
        ->option_text("CODE");
    app.add_flag("--strict", options.files.strict,
                 "Refuse a channel list or a guide that has any fault, with its line");
    app.add_option_function<std::string>(
           "--screen",
           [&](const std::string &text) { options.screen = *sim::read_screen_size(text); },
           "Size of the screen, 160x90 to 3840x2160")
        ->option_text("WIDTHxHEIGHT=1280x720")
        ->check(check_screen_size);
    app.add_option("--font", options.font,
                   "Font for screen captures, preferred to those of the system")
        ->option_text("FILE");
    app.add_flag("--json", options.json, "Print one JSON object a line, for scripts");
    app.add_flag("--trace", options.trace,
                 "Also print each request when it arrives, with its bytes, and what is sent");
    app.add_flag("--diagnostics", options.diagnostics,
                 "Show the library's own diagnostics on standard error");
    app.add_option("--event-every", options.event_every,
                   "Report a demo event regularly, 0.1 to 86400 seconds apart")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.1, 86400.0));
    app.add_option("--report-url", options.report_url,
                   "Post the state as JSON to this web server, now and whenever it changes; "
                   "http://ADDRESS:PORT/PATH with an IPv4 address")
        ->option_text("URL")
        ->check(check_report_url);
    app.add_option("--state", options.state_file,
                   "Keep the state in this file, and go on with it at the next start")
        ->option_text("FILE");
    app.add_flag("--slots", slots, "List the slots of the method table, and exit");
    app.set_version_flag("--version", std::string("tvlink-sim ") + ipp_version(),
                         "Print the version and exit");
    app.footer(event_table());
}

} // namespace

int main(int argc, char **argv)
{
    sim::Options options;
    const sim::Identity identity = sim::own_identity();
    options.name = identity.name;
    options.serial = identity.serial;
    CLI::App app("A simulated television that phones on the network find and drive.", "tvlink-sim");
    bool slots = false;
    define_options(app, options, slots);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); /* --help, --version */
        }
        fprintf(stderr, "tvlink-sim: %s\ntvlink-sim: \"tvlink-sim --help\" lists the options\n",
                error.what());
        return status_usage;
    }
    options.name_is_given = app.count("--name") > 0;
    if (slots) {
        sim::register_television(options);
        fputs(sim::slot_list().c_str(), stdout);
        return 0;
    }
    return sim::run_television(options);
}
