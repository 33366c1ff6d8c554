/* SPDX-License-Identifier: MIT */
/* A television's host application in a process of its own, with the service in it. */
#pragma once

#include "hostile/run.h"
#include "support/wait_until.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <sys/types.h>

/* What host and scenario tell each other; it lies in memory that both see. */
struct Board {
    std::atomic<uint32_t> runs;         /* the service has started */
    std::atomic<uint32_t> announces;    /* its discovery has sent the first announcement */
    std::atomic<uint32_t> searchable;   /* and is a member of the group */
    std::atomic<uint32_t> stop;         /* asks the host to end */
    std::atomic<uint32_t> event_rate;   /* events a second that the host shall report; 0: none */
    std::atomic<uint32_t> reported;     /* events whose report has returned */
    std::atomic<uint32_t> hold;         /* the host's function waits while this is set */
    std::atomic<uint32_t> calls;        /* of the host's function, begun */
    std::atomic<uint32_t> full_lines;   /* "queue is full." */
    std::atomic<uint32_t> capture_size; /* bytes of the picture that the host gives */
    std::atomic<uint32_t> answer_size;  /* bytes of the large reply that the host gives */
    std::atomic<uint32_t> list_size;    /* bytes of the channel list that the host gives */
    std::atomic<uint32_t> stalled;      /* lines of sends that were given up after send_stall_ms */
    std::atomic<uint32_t> refused;      /* lines of sends that no backlog had room for */
    std::atomic<uint32_t> watch;        /* while set, the host looks at its memory continually */
    std::atomic<uint32_t> most_kb;      /* the most that was allocated while it did */
    std::atomic<uint32_t> measure;      /* raised by the scenario; the host follows with measured */
    std::atomic<uint32_t> measured;
    std::atomic<uint32_t> allocated_kb;
};

/* What the process holds, as the system and its allocator tell. */
struct Holdings {
    size_t descriptors;
    size_t threads;
    size_t resident_kb;
    size_t allocated_kb;
};
std::string text(const Holdings &holdings);

/* Connections to the control port that neither side has begun to end. */
size_t open_connections();

/* Descriptors that the host has open for purposes of its own. */
const size_t NONE_BESIDES = 0;

/* Runs while it lives; at its end the host stops the service and must leave without a complaint. */
class Host
{
public:
    explicit Host(const Run &run, size_t descriptors_besides = NONE_BESIDES);
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    Board &board() const;
    pid_t id() const;
    size_t descriptors() const;
    Holdings holdings() const; /* while the host reports no events */

    /* Until no more than these are held, beside so many kilobytes of memory that come and go. */
    bool wait_for_no_more_than(const Holdings &before, size_t spare_kb,
                               std::chrono::seconds deadline = PATIENCE) const;

private:
    const Run &run_;
    Board *board_;
    pid_t id_;
};

/* The host's events: type 0x09, code 0x7000, data of 1 KB that begins with the time, in nanoseconds
 * of the monotonic clock, at which the event was due, and its number, from 0. */
const size_t EVENT_DATA_SIZE = 1024;
const size_t EVENT_DATA_AT = 67; /* in the frame */

struct EventHead {
    uint64_t due_ns;
    uint64_t number;
};
uint64_t monotonic_ns();
