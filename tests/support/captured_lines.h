/* SPDX-License-Identifier: MIT */
/* The library's diagnostic lines, by way of the log sink or of the real standard streams. */
#pragma once

#include <string>
#include <vector>

struct Line {
    int stream; /* IPP_LOG_OUT, IPP_LOG_ERR or IPP_LOG_WARNING */
    std::string text;
};

/* While one lives it is the library's log sink. Lines of threads that outlive a test (announcing,
 * joining the group) may arrive in the next one's: tests that compare all lines leave them out. */
class CapturedLines
{
public:
    CapturedLines();
    ~CapturedLines();
    CapturedLines(const CapturedLines &) = delete;
    CapturedLines &operator=(const CapturedLines &) = delete;

    std::vector<Line> all() const;
    std::vector<std::string> out() const; /* the texts for standard output, newlines included */
    std::vector<std::string> err() const; /* ... for standard error */
    std::vector<std::string> warnings() const;
    size_t count(const std::string &text) const; /* lines that are exactly this */
    bool wait_for(const std::string &text, size_t times = 1) const;
    void clear() const;
};

/* While one lives the process's standard output and standard error go into files of its own. */
class CapturedStreams
{
public:
    CapturedStreams();
    ~CapturedStreams();
    CapturedStreams(const CapturedStreams &) = delete;
    CapturedStreams &operator=(const CapturedStreams &) = delete;

    std::string out() const; /* all that has been written so far */
    std::string err() const;

private:
    struct Stream {
        int number;
        int file;
        int saved;
    };
    static Stream redirect(int number);
    static void restore(const Stream &stream);
    static std::string content(const Stream &stream);

    Stream out_;
    Stream err_;
};
