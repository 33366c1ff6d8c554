/* SPDX-License-Identifier: MIT */
/* Watching the service: an observer that is told what happens, and counters. */
#ifndef TVLINK_OBSERVER_H
#define TVLINK_OBSERVER_H

#include "tvlink/api.h"

#include <stddef.h>
#include <stdint.h>

TVLINK_BEGIN

/* Why something was refused or ended. */
enum {
    IPP_REASON_NONE = 0,

    /* A request that was not carried out. */
    IPP_REASON_NO_ROUTE,      /* no operation of this kind has the method code */
    IPP_REASON_UNKNOWN_TYPE,  /* the frame type is not that of a request */
    IPP_REASON_UNKNOWN_KIND,  /* a get request of another kind than 0 and 1 */
    IPP_REASON_TOO_SHORT,     /* the request ends before its last field */
    IPP_REASON_TEXT_TOO_LONG, /* a text leaves no room for its terminating zero */
    IPP_REASON_WRONG_TAG,     /* a value tag is not the one that is required */
    IPP_REASON_NO_SLOT,       /* the host has no function for the operation */
    IPP_REASON_DECLINED,      /* the host's function for string calls gave no answer */
    IPP_REASON_BAD_MAGIC,     /* the frame does not begin as every frame does */
    IPP_REASON_BAD_LENGTH,    /* the frame announces a length that no frame has */
    IPP_REASON_BAD_CHECKSUM,  /* the frame's checksum is wrong; the request is carried out */
    IPP_REASON_QUEUE_FULL,    /* too many requests wait for the worker */
    IPP_REASON_NO_MEMORY,     /* memory is out */
    IPP_REASON_STOPPED,       /* the service has stopped */

    /* A search or a connection that was refused. */
    IPP_REASON_NOT_ADMITTED,  /* by the guard's admit */
    IPP_REASON_TOO_MANY,      /* the guard's limit is reached */
    IPP_REASON_ALREADY_WAITS, /* an answer to this address waits already */

    /* A connection that ended. */
    IPP_REASON_CLOSED,         /* the peer closed it */
    IPP_REASON_RESET,          /* the peer or the network broke it */
    IPP_REASON_IDLE,           /* the peer was silent for too long */
    IPP_REASON_STALLED,        /* the peer took no byte for the guard's send_stall_ms */
    IPP_REASON_BACKLOG_FULL,   /* the peer left more than the guard's send_backlog_bytes */
    IPP_REASON_FRAME_TOO_LONG, /* the peer announced more than the guard's max_frame_length */
    IPP_REASON_HOST,           /* the host removed it */

    /* A capture or a push that ended early. */
    IPP_REASON_NOT_FETCHED, /* no phone came for the capture */
    IPP_REASON_GONE,        /* the phone of the push has gone */
    IPP_REASON_NO_THREAD,   /* no thread could be made */

    IPP_REASON_COUNT
};

/* The words for a reason, "no memory" for example: static text; "unknown" for any other number. Any
 * thread. */
TVLINK_API const char *ipp_reason_text(int reason);

/* One request, as far as it is known. Valid during the call that is given it. It may grow at its
 * end. */
typedef struct IppRequest {
    uint32_t peer_addr; /* the phone's address in network byte order */
    uint32_t bytes;     /* of its frame */
    uint8_t type;       /* of its frame (tvlink/frame.h); 0: unknown, since the frame is bad */
    uint8_t has_code;   /* 1: `code` is its method code; 0: it has none */
    uint16_t code;      /* its method code, or 0 */
    int32_t reason;     /* IPP_REASON_... */
    int32_t replied;    /* 1: a reply was sent, which of a refused request is its failure form */
    int32_t result;     /* the result byte of a set reply; -1: the empty reply; 0: any other */
    uint32_t queue_us;  /* microseconds in the queue; 0 for what a host has queued */
    uint32_t slot_us;   /* microseconds until the slot returned, or until now */
} IppRequest;

/* What the host wants to be told; any function may be null. None is called with a lock of the
 * library held. They may be called on several threads at once, and may call the library; a slow one
 * delays its thread. Peers are IPv4 addresses in network byte order. */
typedef struct IppObserver {
    /* A search was answered, or not: NOT_ADMITTED, TOO_MANY, ALREADY_WAITS. [discovery thread] */
    void (*search_answered)(uint32_t peer_addr, void *context);
    void (*search_refused)(uint32_t peer_addr, int reason, void *context);

    /* A connection was accepted, and so many there are now; or closed at once: NOT_ADMITTED,
     * TOO_MANY, NO_MEMORY. [server thread; for what a host lists itself, any that finds it] */
    void (*connected)(uint32_t peer_addr, uint32_t connections, void *context);
    void (*connection_refused)(uint32_t peer_addr, int reason, void *context);

    /* A connection has ended, and so many are left: CLOSED, RESET, IDLE, STALLED, BACKLOG_FULL,
     * NO_MEMORY, FRAME_TOO_LONG, STOPPED, HOST. [the thread that found it out: server, worker, any
     * that sends, or that of ipp_finish] */
    void (*gone)(uint32_t peer_addr, int reason, uint32_t connections, void *context);

    /* A whole frame of a request arrived: peer_addr, bytes, type and code. [server thread] */
    void (*request_arrived)(const IppRequest *request, void *context);

    /* It was carried out, NONE or BAD_CHECKSUM; [request worker] */
    void (*request_done)(const IppRequest *request, void *context);

    /* or not. Exactly one of the two is called for each request that arrived, and one
     * request_refused for each bad frame. [request worker; server thread for BAD_MAGIC, BAD_LENGTH,
     * QUEUE_FULL and NO_MEMORY] */
    void (*request_refused)(const IppRequest *request, void *context);

    /* The request that the worker runs has been in its slot for the guard's slot_warn_ms; every
     * phone waits behind it. At most once for each request. [server thread] */
    void (*slot_is_slow)(const IppRequest *request, void *context);

    /* An event was sent. [the thread that reports it] */
    void (*event_sent)(uint16_t code, uint32_t reached, uint32_t failed, void *context);

    /* A capture was offered on a port; [request worker] it ended after so many bytes, of which four
     * are its length: NONE, NOT_FETCHED, STALLED, RESET, NO_THREAD. [bulk thread; request worker
     * for NO_THREAD] */
    void (*capture_begun)(uint32_t peer_addr, uint16_t port, uint32_t bytes, void *context);
    void (*capture_ended)(uint32_t peer_addr, int reason, uint32_t bytes, void *context);

    /* A push began; [the thread that starts it] it ended: NONE, GONE, NO_THREAD. [push thread; for
     * NO_THREAD the thread that starts it] */
    void (*push_begun)(uint32_t peer_addr, uint32_t bytes, void *context);
    void (*push_ended)(uint32_t peer_addr, int reason, void *context);

    void *context; /* passed to all; a call may be under way while the observer changes */
} IppObserver;

/* Sets the observer: the record is copied; null removes it. 0, or -1 for a record of a newer
 * version that asks for something unknown, and then nothing changes. Any thread; never blocks. */
#define ipp_set_observer(observer) ipp_set_observer_sized((observer), sizeof(IppObserver))
TVLINK_API int ipp_set_observer_sized(const IppObserver *observer, size_t size);

/* Counters since the process began; those of 32 bits begin anew after 4,294,967,295. */
typedef struct IppStats {
    uint32_t connections;         /* now */
    uint32_t connections_ever;    /* accepted */
    uint32_t connections_refused; /* closed at once */
    uint32_t requests;            /* whole frames of requests */
    uint32_t requests_done;       /* carried out */
    uint32_t requests_failed;     /* not carried out, and answered with their failure form */
    uint32_t requests_silent;     /* not carried out, and not answered */
    uint32_t requests_dropped;    /* of the silent ones: queue full, memory out, service stopped */
    uint32_t bad_frames;          /* with a bad magic number or length */
    uint32_t queue_highest;       /* most requests that ever waited at once */
    uint32_t slot_longest_us;     /* microseconds of the longest slot */
    uint32_t slot_longest_code;   /* the method code of that request; 65,536: it has none */
    uint32_t events;              /* sent, each to all phones */
    uint32_t captures;            /* offered */
    uint32_t pushes;              /* begun */
    uint32_t searches_answered;   /* an answer was sent */
    uint32_t searches_refused;    /* none was sent */
    uint32_t reserved;            /* 0 */
    uint64_t bytes_received;      /* on control connections */
    uint64_t bytes_sent;          /* on control connections */
} IppStats;

/* Fills a record of this size, sizeof(IppStats) of the host's version; what this library does not
 * know is zero. The counters are read one after the other. 0, or -1 without a record. Any thread;
 * never waits for a phone. */
TVLINK_API int ipp_stats(IppStats *stats, size_t size);

TVLINK_END

#endif
