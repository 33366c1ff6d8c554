/* SPDX-License-Identifier: MIT */
/* A host whose slots record their calls as lines of text and answer what the test has set. */
#pragma once

#include "support/wire.h"
#include "tvlink.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

/* What every slot answers, each in the form of its own result. */
struct HostAnswers {
    int64_t result = 0;         /* of slots that return a number, cut to its width */
    std::string text;           /* written into lent buffers and records, a zero behind it, ... */
    bool terminated = true;     /* ... unless this is false */
    std::vector<uint32_t> outs; /* into out values, in their order; the others are left alone */
    Bytes data;                 /* of slots that return data or a text, ... */
    bool null_data = false;     /* ... unless they shall return null */
};

/* While one lives its table is the registered one, with every slot filled but the reserved ones.
 * One at a time.
 *
 * A line is the slot's name and its arguments, with one blank in front of each: numbers in decimal;
 * texts and data between double quotes, what is not plain ASCII as \xNN; "null" for a null text;
 * out values as "*" and what they hold; buffers and records that are lent as "[256]", their size,
 * when they are zero all over, and as their hex bytes when they are not. */
class RecordingHost
{
public:
    RecordingHost();
    ~RecordingHost();
    RecordingHost(const RecordingHost &) = delete;
    RecordingHost &operator=(const RecordingHost &) = delete;

    /* Takes one slot out of the table, or puts it in again. */
    void leave_out(size_t slot);
    void put_in(size_t slot);

    /* The table is not registered any more, or again. */
    void withdraw();
    void come_back();

    void answer(const HostAnswers &answers);
    HostAnswers answers();

    /* Runs inside every slot before it answers; null: nothing does. */
    void in_slots(std::function<void()> also);

    /* The lines since it was last asked. */
    std::vector<std::string> calls();

    /* For the slots. */
    void add_call(const std::string &line);
    void *keep(const Bytes &data);

private:
    std::mutex lock_;
    TvMethodTable table_;
    HostAnswers answers_;
    std::function<void()> in_slots_;
    std::vector<std::string> calls_;
    Bytes kept_;
};

/* "a\x00b" with its quotes, as in a line. */
std::string quoted(const void *data, size_t size);
