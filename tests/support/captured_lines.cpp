/* SPDX-License-Identifier: MIT */
#include "support/captured_lines.h"

#include "support/wait_until.h"
#include "tvlink.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

struct Store {
    std::mutex lock;
    std::vector<Line> lines;
};

/* Never freed: a thread of the library may still be inside the sink when the process ends. */
Store &store()
{
    static Store *only = new Store;
    return *only;
}

void keep(int stream, const char *text, void *)
{
    const std::lock_guard<std::mutex> guard(store().lock);
    store().lines.push_back({stream, text});
}

std::vector<std::string> texts(int stream)
{
    const std::lock_guard<std::mutex> guard(store().lock);
    std::vector<std::string> result;
    for (const Line &line : store().lines) {
        if (line.stream == stream) {
            result.push_back(line.text);
        }
    }
    return result;
}

} // namespace

CapturedLines::CapturedLines()
{
    clear();
    ipp_set_log_sink(keep, nullptr);
}

CapturedLines::~CapturedLines()
{
    ipp_set_log_sink(nullptr, nullptr);
}

std::vector<Line> CapturedLines::all() const
{
    const std::lock_guard<std::mutex> guard(store().lock);
    return store().lines;
}

std::vector<std::string> CapturedLines::out() const
{
    return texts(IPP_LOG_OUT);
}

std::vector<std::string> CapturedLines::err() const
{
    return texts(IPP_LOG_ERR);
}

std::vector<std::string> CapturedLines::warnings() const
{
    return texts(IPP_LOG_WARNING);
}

size_t CapturedLines::count(const std::string &text) const
{
    const std::vector<Line> lines = all();
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(),
                                             [&](const Line &line) { return line.text == text; }));
}

bool CapturedLines::wait_for(const std::string &text, size_t times) const
{
    return wait_until([&] { return count(text) >= times; });
}

void CapturedLines::clear() const
{
    const std::lock_guard<std::mutex> guard(store().lock);
    store().lines.clear();
}

CapturedStreams::CapturedStreams() : out_(redirect(STDOUT_FILENO)), err_(redirect(STDERR_FILENO))
{
}

CapturedStreams::~CapturedStreams()
{
    restore(out_);
    restore(err_);
}

std::string CapturedStreams::out() const
{
    return content(out_);
}

std::string CapturedStreams::err() const
{
    return content(err_);
}

CapturedStreams::Stream CapturedStreams::redirect(int number)
{
    std::fflush(nullptr);
    const Stream stream = {number, memfd_create("captured", MFD_CLOEXEC),
                           fcntl(number, F_DUPFD_CLOEXEC, 0)};
    if (stream.file < 0 || stream.saved < 0 || dup2(stream.file, number) < 0) {
        std::perror("capturing a standard stream");
        std::abort();
    }
    return stream;
}

void CapturedStreams::restore(const Stream &stream)
{
    std::fflush(nullptr);
    dup2(stream.saved, stream.number);
    close(stream.saved);
    close(stream.file);
}

std::string CapturedStreams::content(const Stream &stream)
{
    std::fflush(nullptr);
    std::string text(static_cast<size_t>(lseek(stream.file, 0, SEEK_END)), '\0');
    /* pread leaves the offset, which the redirected stream shares, where the next write goes. */
    if (pread(stream.file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        std::perror("reading a captured stream");
        std::abort();
    }
    return text;
}
