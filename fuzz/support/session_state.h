/* A session fuzz input while it runs: the phones' connections, the work queues and the events as
 * the model knows them, and what the input has arranged. */
#pragma once

#include "support/frame_bytes.h"
#include "support/fuzz_input.h"
#include "support/session_lanes.h"

#include <ctime>
#include <deque>

enum Flag {
    GUARDED = 1,
    BARS_LAST_PHONE = 2,
    WITHOUT_TABLE = 4,
    WITH_DUMPS = 8,
    STOPS_IN_THE_MIDDLE = 16, /* otherwise everything is served first */
};

/* What the next system call on a connection does, and to how many bytes. */
struct Fault {
    bool set;
    uint8_t value;
};

/* One connection of one phone, and what the model knows of it. */
struct Connection {
    unsigned phone;
    int end;                    /* the phone's; -1 once it has closed */
    int waiting;                /* the service's, until it is accepted */
    int service;                /* the same afterwards, until it is closed */
    bool reads;                 /* the phone takes what comes at once */
    bool may_miss;              /* it may have left bytes unread */
    bool registered;            /* accepted, and not shut down or refused yet */
    bool excused;               /* there is a reason to drop it */
    bool must_go;               /* and it must be */
    bool shut;                  /* the service has dropped it */
    unsigned calls;             /* how many string calls the phone has made */
    Bytes outbox;               /* the phone has not written it yet */
    Bytes arrived;              /* received, not split yet */
    bool lost;                  /* what else arrived together is dropped */
    std::deque<Bytes> requests; /* split, not queued yet */
    size_t heartbeats;          /* the same */
    Bytes sending;              /* the rest of the frame that is being sent */
    size_t frame_size;          /* all of it */
    Lane sender;
    bool given_up;            /* no more of that frame is sent */
    uint64_t waits_since_ms;  /* the service must count from then on, ... */
    uint64_t stalls_since_ms; /* ... and may from then on; both 0: it has not had to wait */
    bool took_nothing;        /* since a round noted who had bytes to take, this phone among them */
    bool got_nothing;         /* nor was it sent anything since */
    Bytes expected;           /* handed to the system for this phone */
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
    size_t most_waiting;      /* since the server received last */
};

/* An event, while a thread reports it. */
struct Broadcast {
    bool on;
    Bytes frame;
    std::vector<size_t> due;
    std::vector<size_t> told;
};

enum HostJob {
    JOB_NONE,
    JOB_EVENT,
    JOB_HEARTBEATS,
};

struct Session {
    FuzzInput input;
    uint8_t flags;
    std::deque<Connection> connections; /* in the order in which they were made */
    std::deque<size_t> accept_queue;
    int listener;
    int knock; /* the other end: a byte for each phone that waits */
    unsigned run;
    bool starting;
    bool stopping;
    bool transferring;
    time_t now_s;
    uint64_t elapsed_ms;
    WorkModel requests;
    WorkModel heartbeats;
    Broadcast broadcasts[LANE_COUNT];
    std::vector<size_t> beaten;    /* by the check that is running */
    uint64_t noted_ms[LANE_COUNT]; /* when the lane's round first had to wait; 0: not yet */
    uint8_t accept_fault;
    HostJob job;
    uint8_t event_choice;
    uint8_t event_size;
    unsigned events;
};

const uint32_t GUARDED_FRAME = 1024;
const uint32_t GUARDED_PHONES = 3;
const uint32_t GUARDED_STALL_MS = 2000;
const int PHONES_FROM = 200; /* descriptors: the lower ones are the service's */

extern Session session;

bool contains(const std::vector<size_t> &list, size_t number);

/* By the service's descriptor; null for a number that is none of a connection. */
Connection *find_connection(int fd);

size_t number_of(const Connection *connection);

/* Is there a reason to drop it? */
bool is_excused(const Connection &connection);

size_t registered_count();

/* Does the guard not admit it? */
bool is_barred(const Connection &connection);

/* The latest connection of a phone, while the phone has not closed it. */
Connection *connection_of(unsigned phone);
