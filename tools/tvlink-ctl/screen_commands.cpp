/* SPDX-License-Identifier: MIT */
/* Captures of the screen: each is fetched from a port of its own and saved in a file. */
#include "command_line.h"
#include "controlpoint_calls.h"
#include "exchange.h"
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl
{
namespace
{

struct CaptureOptions {
    std::string file;
    uint16_t width = 0; /* pixels; 0: that of the screen */
    uint16_t height = 0;
};

/* The time-out is meant for answers; a transfer may take so many times as long. */
constexpr uint32_t transfer_timeouts = 10;

constexpr int bar_width = 30;

/* Overwrites the bar that was drawn before. */
void draw_bar(size_t arrived, size_t whole, void *)
{
    const double share = whole == 0 ? 1 : static_cast<double>(arrived) / static_cast<double>(whole);
    const int filled = static_cast<int>(share * bar_width);
    fprintf(stderr, "\r[%.*s%*s] %3.0f%% of %zu bytes", filled, "##############################",
            bar_width - filled, "", share * 100, whole);
    fflush(stderr);
}

/* Is erased at the end of the scope. */
struct ProgressBar {
    explicit ProgressBar(const Settings &settings)
        : visible(!settings.json && isatty(STDERR_FILENO) == 1)
    {
    }
    ~ProgressBar()
    {
        if (visible) {
            fprintf(stderr, "\r\033[K");
        }
    }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    bool visible;
};

uint32_t transfer_timeout(const Session &session)
{
    const uint64_t wanted = uint64_t{session.timeout_ms} * transfer_timeouts;
    return wanted > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(wanted);
}

void fetch(const Settings &settings, const Session &session, uint16_t port, CpBuffer *image)
{
    CpStatus status = CP_OK;
    {
        const ProgressBar bar(settings);
        const CpBulk bulk = {port, CP_BULK_LIMIT, bar.visible ? draw_bar : nullptr, nullptr};
        status = cp_fetch_bulk(session.connection, &bulk, image, transfer_timeout(session));
    }
    switch (status) {
    case CP_REFUSED:
        throw Failure(STATUS_REFUSED,
                      session.peer + " refused the connection to port " + std::to_string(port) +
                          ", where the image was to be",
                      "does a firewall let this machine connect to any port there?");
    case CP_TIMED_OUT:
        throw Failure(STATUS_TIMED_OUT, "the image did not arrive in time",
                      "a longer --timeout gives it more");
    default:
        require_answer(session, status, "the image");
    }
}

[[noreturn]] void not_written(const std::string &file, int error)
{
    throw Failure(STATUS_OTHER, "cannot write " + file + ": " + system_text(error), "");
}

/* A file that is written under a temporary name and renamed when it is complete, so that a failure
 * leaves an older file of its name as it was. */
struct NewFile {
    explicit NewFile(const std::string &given)
        : name(given), temporary(given + ".XXXXXX"), descriptor(mkstemp(temporary.data()))
    {
        if (descriptor < 0) {
            not_written(name, errno);
        }
    }
    ~NewFile()
    {
        if (descriptor >= 0) {
            close(descriptor);
        }
        if (!kept) {
            unlink(temporary.c_str());
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    std::string name;
    std::string temporary;
    int descriptor;
    bool kept = false;
};

void write_all(const NewFile &file, const CpBuffer &bytes)
{
    size_t written = 0;
    while (written < bytes.size) {
        const ssize_t now = write(file.descriptor, bytes.data + written, bytes.size - written);
        if (now < 0 && errno != EINTR) {
            not_written(file.name, errno);
        }
        written += now > 0 ? static_cast<size_t>(now) : 0;
    }
}

/* Renames the file, with the permissions of any other new file. */
void keep(NewFile &file)
{
    const mode_t mask = umask(0);
    umask(mask);
    const int descriptor = file.descriptor;
    file.descriptor = -1;
    const bool permitted = fchmod(descriptor, 0666 & ~mask) == 0;
    const int error = errno;
    if (close(descriptor) != 0 || !permitted ||
        rename(file.temporary.c_str(), file.name.c_str()) != 0) {
        not_written(file.name, permitted ? errno : error);
    }
    file.kept = true;
}

void save_screenshot(const Settings &settings, const CaptureOptions &options)
{
    Request request;
    require_built(cp_build_capture(&request.buffer, options.width, options.height), "");
    const Session session(settings);
    const uint32_t port = ask(session, request, CP_TAG_PORT, "an image of its screen").number;
    if (port == 0) {
        television_failed("an image of its screen");
    }
    Request image;
    fetch(settings, session, static_cast<uint16_t>(port), &image.buffer);
    NewFile file(options.file);
    write_all(file, image.buffer);
    keep(file);
    print_line(settings, options.file + ": " + std::to_string(image.buffer.size) + " bytes",
               {{"file", options.file}, {"bytes", static_cast<int64_t>(image.buffer.size)}});
}

} // namespace

void add_screen_commands(CLI::App &app, CommandLine &line)
{
    CaptureOptions &options = new_options<CaptureOptions>(line);
    CLI::App *screenshot =
        add_command(app, line, "screenshot", "Save an image of the screen",
                    [&](const Settings &settings) { save_screenshot(settings, options); });
    screenshot->add_option("-o,--output", options.file, "Where to; what is there is replaced")
        ->option_text("FILE")
        ->required();
    screenshot->add_option("--width", options.width, "Its width in pixels (as it is)")
        ->option_text("N");
    screenshot->add_option("--height", options.height, "Its height in pixels (as it is)")
        ->option_text("N");
}

} // namespace ctl
