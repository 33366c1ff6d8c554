/* SPDX-License-Identifier: MIT */
/* The state of a running session fuzz input: the phones' connections, the model's work queues and
 * events, and the faults and jobs that the input has set up. */
#pragma once

#include "support/frame_bytes.h"
#include "support/fuzz_input.h"
#include "support/session_lanes.h"

#include <ctime>
#include <deque>

#include <pthread.h>

enum Flag {
    GUARDED = 1,
    REFUSES_LAST_PHONE = 2,
    WITHOUT_TABLE = 4,
    WITH_DUMPS = 8,
    STOPS_EARLY = 16,     /* otherwise everything is served first */
    KEEPS_100_BYTES = 32, /* the guard's send_backlog_bytes; with both bits BACKLOG_BOUNDS[3] */
    KEEPS_1000_BYTES = 64,
    KEEPS_FRAMES = KEEPS_100_BYTES | KEEPS_1000_BYTES,
};

/* The fault of the next system call on a connection; `value` chooses its kind and size. */
struct Fault {
    bool set;
    uint8_t value;
};

/* A frame, or the rest of one, that the service keeps for a phone. */
struct KeptFrame {
    size_t size;
    Bytes bytes;   /* empty: a reply whose content is not known yet */
    Bytes request; /* answered by such a reply */
    bool begun;    /* the phone has been sent a part of it */
};

/* With KEEPS_FRAMES: what the service keeps for a phone, and the latest use of the connection's
 * send lock. */
struct Outgoing {
    std::deque<KeptFrame> kept;
    const pthread_mutex_t *lock; /* null: not known yet */
    Lane holder;                 /* LANE_COUNT: the lock is free */
    bool offered;                /* bytes were passed to send under the lock */
    bool blocked;                /* send has accepted none of them at last */
    bool failed;                 /* the holder has shut the connection down */
    bool finished;               /* the server thread has sent the first frame completely */
    size_t uncounted;            /* sent, and still counted as kept by the service */
    uint64_t taken_ms;           /* when the phone last took a byte, or the first frame was kept */
    uint64_t counted_ms;         /* the same by the service's records */
    bool listed_as_waiting;      /* since the current pass of the server thread began */
    bool overdue;                /* the current pass must drop the connection unless it has room */
    bool tried;                  /* in the current pass */
};

/* One connection of one phone, and its state in the model. */
struct Connection {
    unsigned phone;
    int phone_fd;               /* -1 once the phone has closed it */
    int pending_fd;             /* the service's end, until it is accepted */
    int service_fd;             /* the service's end afterwards, until it is closed */
    bool reads;                 /* the phone reads automatically */
    bool may_lose_bytes;        /* the phone may have left bytes unread */
    bool registered;            /* accepted, and not shut down or refused yet */
    bool may_drop;              /* the service has a reason to drop it */
    bool must_drop;             /* the service must drop it */
    bool dropped;               /* the service has dropped it */
    unsigned calls;             /* the number of string calls by the phone */
    Bytes outbox;               /* buffered by the phone */
    Bytes arrived;              /* received, not split yet */
    bool discarding;            /* the rest of what arrived together is discarded */
    std::deque<Bytes> requests; /* split, not queued yet */
    size_t heartbeats;          /* split, not queued yet */
    Bytes sending;              /* the rest of the frame that is being sent */
    size_t frame_size;          /* of the complete frame */
    Lane sender;
    bool abandoned;            /* no more of that frame is sent */
    uint64_t stalled_since_ms; /* when the first attempt to send it failed; 0: not stalled */
    Outgoing outgoing;
    Bytes expected; /* accepted by send for this phone */
    Bytes received;
    Fault ioctl_fault;
    Fault recv_fault;
    Fault send_fault;
};

/* An item of a work queue. */
struct Item {
    size_t connection;
    Bytes body;
    unsigned run;
    bool answered;
};

struct WorkModel {
    std::deque<Item> waiting;
    std::deque<Item> serving; /* one at most */
    size_t max_waiting;       /* since the server last received */
};

/* An event, while a thread reports it. */
struct Broadcast {
    bool active;
    Bytes frame;
    std::vector<size_t> recipients;
    std::vector<size_t> delivered;
};

enum HostJob {
    JOB_NONE,
    JOB_EVENT,
    JOB_HEARTBEATS,
};

struct Session {
    FuzzInput input;
    uint8_t flags;
    std::deque<Connection> connections; /* in the order of their creation */
    std::deque<size_t> accept_queue;
    int listener;
    int listener_peer; /* the other end of `listener`: one byte for each pending connection */
    unsigned run;
    bool starting;
    bool stopping;
    bool transferring;
    time_t now_s;
    uint64_t elapsed_ms;
    WorkModel requests;
    WorkModel heartbeats;
    Broadcast broadcasts[LANE_COUNT];
    std::vector<size_t> heartbeats_sent; /* connections, in the running heartbeat check */
    uint8_t accept_fault;
    HostJob job;
    uint8_t event_choice;
    uint8_t event_size;
    unsigned events;
};

const uint32_t GUARDED_FRAME = 1024;
const uint32_t GUARDED_PHONES = 3;
const uint32_t GUARDED_STALL_MS = 2000;
const uint32_t BACKLOG_BOUNDS[] = {0, 100, 1000, 8000};
const int FIRST_PHONE_FD = 200; /* lower descriptors are the service's */

extern Session session;

bool contains(const std::vector<size_t> &list, size_t number);

/* The guard's send_backlog_bytes. */
uint32_t backlog_bound();

/* By the service's descriptor; null when no connection has this number. */
Connection *find_connection(int fd);

size_t index_of(const Connection *connection);

/* True when the service may drop the connection. */
bool may_be_dropped(const Connection &connection);

size_t registered_count();

/* True when the guard refuses the connection. */
bool is_refused(const Connection &connection);

/* The latest connection of a phone, while the phone has not closed it. */
Connection *connection_of(unsigned phone);
