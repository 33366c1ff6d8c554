/* SPDX-License-Identifier: MIT */
/* What an observer is told, as lines of text. */
#pragma once

#include <string>
#include <vector>

/* While one lives it is the library's observer. A line has the name of the callback, and its
 * arguments but the peer, which must be in 127.0.0.0/24 or 192.0.2.7; a reason by its text. A
 * request is "07 0101 76", its frame type, method code (----: none) and bytes, then what became of
 * it.
 *
 * Each call also looks whether a lock of the library is held meanwhile. */
class RecordedNotices
{
public:
    RecordedNotices();
    ~RecordedNotices();
    RecordedNotices(const RecordedNotices &) = delete;
    RecordedNotices &operator=(const RecordedNotices &) = delete;

    std::vector<std::string> all() const;
    std::vector<std::string> of(const std::string &callback) const;
    bool wait_for(const std::string &line, size_t times = 1) const;
    void clear() const;
};
