/* SPDX-License-Identifier: MIT */
/*
 * controlpoint: the phone's side of the television's control protocol.
 *
 * It finds televisions, connects to one, builds requests, splits the byte stream into frames and
 * decodes replies and events. It is written from the description of the wire alone and shares no
 * code with the television's library, so that each of the two checks the other.
 *
 * Rules that hold for every function unless its comment says otherwise:
 * - it returns CP_OK or one of the other values of CpStatus; nothing is printed;
 * - pointers must not be null; a null pointer gives CP_BAD_ARGUMENT where a status is returned;
 * - CpBytes in a result are borrowed from the bytes that were decoded;
 * - a time-out is in milliseconds and bounds the whole call; a function without one does not block;
 * - objects are independent of each other; one object is used by one thread at a time.
 */
#ifndef CONTROLPOINT_H
#define CONTROLPOINT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Results ------------------------------------------------------------------------------- */

typedef enum CpStatus {
    CP_OK = 0,
    CP_MORE = 1,          /* not a failure: the splitter needs more bytes */
    CP_NOT_FOUND = -1,    /* no television answered, or the host does not exist or is unreachable */
    CP_REFUSED = -2,      /* the host is there but nothing listens on the port */
    CP_TIMED_OUT = -3,    /* the time-out expired */
    CP_CLOSED = -4,       /* the television closed or reset the connection */
    CP_PROTOCOL = -5,     /* the bytes that arrived violate the protocol */
    CP_BAD_ARGUMENT = -6, /* an argument is null, out of range or cannot be encoded */
    CP_SYSTEM = -7        /* a system call failed or memory ran out; errno has the reason */
} CpStatus;

/* A short English text for a status, without a full stop. Never null; static. */
const char *cp_status_text(CpStatus status);

/* ---- Bytes --------------------------------------------------------------------------------- */

/* Borrowed bytes. `data` may be null when `size` is 0. */
typedef struct CpBytes {
    const uint8_t *data;
    size_t size;
} CpBytes;

/* The bytes of a terminated text, without the terminator. Null gives no bytes. */
CpBytes cp_text(const char *text);

/* Owned bytes. Initialise with zeros; the builders replace the content. */
typedef struct CpBuffer {
    uint8_t *data;
    size_t size;
    size_t capacity;
} CpBuffer;

/* Frees the bytes and leaves an empty buffer, which can be used again. Null is allowed. */
void cp_buffer_free(CpBuffer *buffer);

/* ---- Values -------------------------------------------------------------------------------- */

/* The tags of values on the wire. CP_TAG_RAW is never sent. */
enum {
    CP_TAG_RAW = 0x00,        /* bytes that are sent as they are, with neither tag nor length */
    CP_TAG_U8 = 0x02,         /* 1 byte */
    CP_TAG_U16 = 0x03,        /* 2 bytes */
    CP_TAG_PORT = 0x04,       /* 2 bytes: a TCP port of the television */
    CP_TAG_I32 = 0x05,        /* 4 bytes, signed */
    CP_TAG_U32 = 0x06,        /* 4 bytes */
    CP_TAG_STRING = 0x08,     /* 2-byte length (4-byte in events), then the text, no terminator */
    CP_TAG_BLOB = 0x0C,       /* 4-byte length, then that many bytes */
    CP_TAG_POINT = 0xA0,      /* three 2-byte values */
    CP_TAG_LZW_LIST2 = 0xA1,  /* 4-byte length n, two 2-byte counts, n - 4 compressed bytes */
    CP_TAG_LIST = 0xA2,       /* 4-byte length n, 2-byte count, n - 2 bytes */
    CP_TAG_GUIDE_LIST = 0xA3, /* 4-byte length n, 2-byte count, n - 2 compressed bytes */
    CP_TAG_RECORD = 0xA4,     /* 4-byte length, then that many bytes */
    CP_TAG_LZW_LIST = 0xA5    /* as CP_TAG_GUIDE_LIST */
};

/* One value. `tag` determines which of the other fields are used; the rest are zero. */
typedef struct CpValue {
    uint8_t tag;
    uint32_t number;       /* U8, U16, PORT, U32; I32 as its two's complement; the lists: n */
    uint16_t point[3];     /* POINT */
    uint16_t count;        /* the lists: the first count */
    uint16_t second_count; /* LZW_LIST2: the second count */
    CpBytes bytes;         /* RAW, STRING, BLOB, RECORD; the lists: the data after the counts */
} CpValue;

/* A name for a tag, such as "string"; null for a tag that the protocol does not have. */
const char *cp_tag_name(uint8_t tag);

/* Make values for the builders. The ranges are checked when a request is built. */
CpValue cp_number(uint8_t tag, uint32_t number);
CpValue cp_bytes(uint8_t tag, const void *data, size_t size); /* borrows `data` */
CpValue cp_string(const char *text);                          /* borrows `text` */
CpValue cp_point(uint16_t first, uint16_t second, uint16_t third);
/* A floating-point argument: its four IEEE bytes, under the tag of a 32-bit number. */
CpValue cp_float(float number);

/* ---- Requests ------------------------------------------------------------------------------ */

/* Frame types. */
enum {
    CP_FRAME_GET = 0x05,
    CP_FRAME_GET_REPLY = 0x06,
    CP_FRAME_SET = 0x07,
    CP_FRAME_SET_REPLY = 0x08,
    CP_FRAME_EVENT = 0x09,
    CP_FRAME_NO_OP = 0x0A,
    CP_FRAME_RPC = 0x21,
    CP_FRAME_RPC_REPLY = 0x22,
    CP_FRAME_HEARTBEAT = 0xEE
};

/* The method codes of the builders and functions below. */
enum {
    CP_CODE_CHANNEL_UP = 0x0101,   /* set: U8 steps */
    CP_CODE_CHANNEL_DOWN = 0x0102, /* set: U8 steps */
    CP_CODE_KEY = 0x0109,          /* set: list of U32 key, U32 second value */
    CP_CODE_VOLUME_UP = 0x010F,    /* set: U8 steps */
    CP_CODE_VOLUME_DOWN = 0x0110,  /* set: U8 steps */
    CP_CODE_TEXT = 0x0112,         /* get: the text; set: list of two texts */
    CP_CODE_NAME = 0x0B01,         /* get: the television's name */
    CP_CODE_ORDER = 0x2007,        /* get: the order of the channels */
    CP_CODE_STRING_RPC = 0x5004    /* rpc: a text that the television's host answers */
};

/* The two forms of a set request. Which one a method takes is fixed per method. */
typedef enum CpLayout {
    CP_LAYOUT_SINGLE, /* code, then tagged values with no count (usually one) */
    CP_LAYOUT_LIST    /* code, count, then that many tagged values */
} CpLayout;

/*
 * Each builder replaces the content of `payload` (what follows the frame type) with one request.
 * Arguments are borrowed for the call; `arguments` may be null when `count` is 0. Errors:
 * CP_BAD_ARGUMENT when a number does not fit its tag, a text is longer than 65,535 bytes, there are
 * more than 255 arguments where they are counted, or a tag cannot be an argument (the lists and
 * RECORD); CP_SYSTEM when memory runs out. After an error the buffer is empty.
 */
CpStatus cp_build_get(CpBuffer *payload, uint16_t code, const CpValue *arguments, size_t count);
CpStatus cp_build_set(CpBuffer *payload, uint16_t code, CpLayout layout, const CpValue *arguments,
                      size_t count);
CpStatus cp_build_rpc(CpBuffer *payload, uint16_t code, const CpValue *arguments, size_t count);

/* The get request that asks for the device information. It has no method code. */
CpStatus cp_build_device_info(CpBuffer *payload);

/* Steps from -255 to 255; the sign chooses between the two codes. 0 is sent as a step of 0 up. */
CpStatus cp_build_channel_step(CpBuffer *payload, int32_t steps);
CpStatus cp_build_volume_step(CpBuffer *payload, int32_t steps);

/* The television's host defines the meaning of a key number and its second value. */
CpStatus cp_build_key(CpBuffer *payload, uint32_t key, uint32_t second);

/* The television takes at most 255 bytes of the first text and 31 of the second. */
CpStatus cp_build_text_pair(CpBuffer *payload, CpBytes first, CpBytes second);

CpStatus cp_build_string_rpc(CpBuffer *payload, CpBytes text);

/* ---- Frames -------------------------------------------------------------------------------- */

enum {
    CP_FRAME_OVERHEAD = 72,             /* bytes of a frame with an empty payload */
    CP_MAX_FRAME_DEFAULT = 64 * 1048576 /* bytes of the longest frame accepted by default */
};

/* Replaces the content of `frame` with one frame: header, type, payload, checksum. `payload`
 * may be null when `size` is 0. CP_BAD_ARGUMENT when the frame's length does not fit 32 bits. */
CpStatus cp_build_frame(CpBuffer *frame, uint8_t type, const void *payload, size_t size);

/* A received frame. The payload is borrowed from the splitter or the connection. */
typedef struct CpFrame {
    uint8_t type;
    CpBytes payload;
} CpFrame;

/* Splits a byte stream from the television into frames. It checks the three magic bytes, the length
 * (from 72 to the maximum) and the checksum, and ignores the reserved bytes. */
typedef struct CpSplitter CpSplitter;

/* `max_frame` is the longest accepted frame in bytes; 0 means CP_MAX_FRAME_DEFAULT. Null when
 * memory runs out. Freed with cp_splitter_free. */
CpSplitter *cp_splitter_new(uint32_t max_frame);
void cp_splitter_free(CpSplitter *splitter); /* null is allowed */

/* Appends a copy of the next bytes, however the stream is divided. Memory grows with the bytes fed
 * and not yet taken, never with an announced length. CP_PROTOCOL once the stream is broken,
 * CP_SYSTEM when memory runs out (nothing is appended). Invalidates the last frame's payload. */
CpStatus cp_splitter_feed(CpSplitter *splitter, const void *bytes, size_t size);

/* Takes the next frame. CP_OK: `frame` is filled; its payload is valid until the next call on this
 * splitter. CP_MORE: there is no complete frame yet. CP_PROTOCOL: the stream is broken permanently,
 * since the start of the next frame is unknown. */
CpStatus cp_splitter_next(CpSplitter *splitter, CpFrame *frame);

/* Bytes that were fed and not yet taken as frames. */
size_t cp_splitter_pending(const CpSplitter *splitter);

/* What broke the stream, such as "bad checksum"; an empty text while it is intact. Static. */
const char *cp_splitter_problem(const CpSplitter *splitter);

/* ---- Replies and events -------------------------------------------------------------------- */

/* Each decoder reads one payload. CP_PROTOCOL, with the result all zero, when a field is missing,
 * truncated or of the wrong type, and when bytes remain and the result has no `extra`. */

typedef struct CpSetReply {
    uint16_t code;  /* of the request */
    uint8_t result; /* the host's result, low 8 bits; 0xFF is the usual failure (-1) */
} CpSetReply;
CpStatus cp_decode_set_reply(CpBytes payload, CpSetReply *reply);

typedef struct CpGetReply {
    uint16_t code;
    bool empty;    /* no value, or a list of length 0: the television has no data */
    CpValue value; /* all zero for a reply with no value; a list of length 0 keeps its tag */
    CpBytes extra; /* bytes beyond the value; none are expected */
} CpGetReply;
CpStatus cp_decode_get_reply(CpBytes payload, CpGetReply *reply);

enum {
    CP_INFO_NAME = 1 << 0,
    CP_INFO_SERIAL = 1 << 1,
    CP_INFO_REGISTERED = 1 << 2,
    CP_INFO_STATE = 1 << 3,
    CP_INFO_HOST_TEXT = 1 << 4,
    CP_INFO_VALUE_2015 = 1 << 5,
    CP_INFO_VALUE_2016 = 1 << 6,
    CP_INFO_ALL = 0x7F
};

typedef struct CpDeviceInfo {
    uint32_t present;    /* CP_INFO_ bits of the attributes that arrived */
    CpBytes name;        /* attribute 0x0B01 */
    CpBytes serial;      /* attribute 0x0B03 */
    uint8_t registered;  /* attribute 0x0B00: 1 when the host's operations are registered */
    uint8_t state;       /* attribute 0x0001 */
    CpBytes host_text;   /* attribute 0x0B0A: free text of the host */
    uint32_t value_2015; /* attribute 0x2015 */
    uint32_t value_2016; /* attribute 0x2016 */
} CpDeviceInfo;
/* Accepts the attributes in any order and skips unknown ones whose tag is known. CP_PROTOCOL also
 * for a duplicate attribute and for one with a tag other than its own. */
CpStatus cp_decode_device_info(CpBytes payload, CpDeviceInfo *info);

typedef struct CpRpcReply {
    uint16_t code;
    CpBytes text;
    CpBytes extra; /* the television sends one meaningless byte after its answer */
} CpRpcReply;
CpStatus cp_decode_rpc_reply(CpBytes payload, CpRpcReply *reply);

typedef struct CpEvent {
    uint16_t code;
    uint16_t value;
    CpBytes text;
    bool has_second_text;
    CpBytes second_text;
    CpBytes data;
} CpEvent;
CpStatus cp_decode_event(CpBytes payload, CpEvent *event);

/* CP_OK when the payload is the television's heartbeat, the five letters "HEART". */
CpStatus cp_decode_heartbeat(CpBytes payload);

/* ---- Finding televisions ------------------------------------------------------------------- */

enum {
    CP_SEARCH_PORT = 12426, /* UDP: televisions listen for searches */
    CP_ANSWER_PORT = 9988,  /* UDP: control points listen for answers and announcements */
    CP_CONTROL_PORT = 8801, /* TCP: the usual port of a television's control service */
    CP_SEARCH_SIZE = 8,     /* bytes of a search */
    CP_ANSWER_SIZE = 12     /* bytes of an answer or an announcement */
};
#define CP_SEARCH_GROUP "239.200.201.202"
#define CP_ANNOUNCEMENT_GROUP "239.201.202.203"

typedef struct CpTelevision {
    uint32_t address;     /* IPv4, network byte order, stated in the answer; 0: none is stated */
    uint32_t source;      /* IPv4, network byte order: the sender of the answer */
    uint16_t port;        /* TCP port of the control service */
    uint16_t device_type; /* chosen by the television's host */
} CpTelevision;

void cp_build_search(uint8_t packet[CP_SEARCH_SIZE]);

/* Decodes an answer or an announcement; `source` is set to 0. CP_PROTOCOL for any other packet and
 * for port 0. Bytes after the twelfth are ignored. */
CpStatus cp_decode_answer(CpBytes packet, CpTelevision *television);

/* The address to connect to: the stated one, or the sender's if none is stated. */
uint32_t cp_television_address(const CpTelevision *television);

/* Writes an IPv4 address (network byte order) in dotted form, terminated. */
void cp_address_text(uint32_t address, char text[16]);

typedef struct CpSearch {
    const char *host;        /* null: search by multicast; else search and list this host only */
    bool hear_announcements; /* also list televisions that announce themselves unsolicited */
    uint32_t timeout_ms;     /* how long to collect answers; televisions take up to 350 ms */
    size_t enough;           /* stop early after finding this many; 0: never */
    uint32_t linger_ms;      /* stop early this long after the latest find; 0: never */
} CpSearch;

/* Searches once a second and fills `list` with at most `capacity` different televisions in order of
 * arrival; `*found` is their number. CP_NOT_FOUND when there are none. Listens on CP_ANSWER_PORT,
 * which one program at a time can bind: waits for the port, and CP_SYSTEM with EADDRINUSE when it
 * stays in use. CP_SYSTEM also when no search could be sent at all. Blocks up to the time-out, plus
 * the time that it takes to resolve a host's name. */
CpStatus cp_discover(const CpSearch *search, CpTelevision *list, size_t capacity, size_t *found);

/* Receives the unsolicited announcements of televisions, one at a time. */
typedef struct CpListener CpListener;

/* Starts to listen on CP_ANSWER_PORT of every network interface. Only announcements from `host` are
 * accepted; null: from any. On CP_OK the caller frees `*listener` with cp_stop_listening; else it
 * is null. CP_NOT_FOUND when there is no such host; CP_SYSTEM, with EADDRINUSE when another program
 * holds the port during the whole time-out. */
CpStatus cp_listen(CpListener **listener, const char *host, uint32_t timeout_ms);
void cp_stop_listening(CpListener *listener); /* null is allowed */

/* The socket, to poll together with other descriptors. The listener still owns it. */
int cp_listener_descriptor(const CpListener *listener);

/* Takes the next announcement. A television announces itself several times; repetitions are not
 * filtered out. With a time-out of 0 it does not wait. CP_TIMED_OUT when there is none. Call it at
 * least once a second: it also joins the group on interfaces that have come up. */
CpStatus cp_hear(CpListener *listener, CpTelevision *television, uint32_t timeout_ms);

/* ---- Connections --------------------------------------------------------------------------- */

typedef struct CpConnection CpConnection;

/* Connects to a dotted address or a host's name (whose resolution is not bounded by the time-out).
 * On CP_OK the caller frees `*connection` with cp_disconnect; else it is null. CP_NOT_FOUND,
 * CP_REFUSED, CP_TIMED_OUT, CP_CLOSED (reset at once), CP_BAD_ARGUMENT (port 0), CP_SYSTEM. */
CpStatus cp_connect(CpConnection **connection, const char *host, uint16_t port,
                    uint32_t timeout_ms);
void cp_disconnect(CpConnection *connection); /* null is allowed */

/* The socket, to poll together with other descriptors. The connection still owns it. */
int cp_descriptor(const CpConnection *connection);

/* The cause of the last CP_PROTOCOL or CP_CLOSED of this connection; else an empty text. Static. */
const char *cp_problem(const CpConnection *connection);

/* Sends one frame of any type. `payload` may be null when `size` is 0. CP_TIMED_OUT when the
 * television does not receive it in time; if part of the frame was sent, the connection cannot send
 * another one, and every later send gives CP_CLOSED. */
CpStatus cp_send(CpConnection *connection, uint8_t type, const void *payload, size_t size,
                 uint32_t timeout_ms);

/* Receives the next frame of any type. Its payload is valid until the next call on the connection.
 * With a time-out of 0 it takes what has arrived and does not wait. CP_TIMED_OUT keeps a partial
 * frame for the next call. CP_CLOSED comes after all complete frames. */
CpStatus cp_receive(CpConnection *connection, CpFrame *frame, uint32_t timeout_ms);

/* Called for each frame that arrives while a reply is awaited and is not that reply: events,
 * heartbeats, late replies. The frame is borrowed for the call, in which the connection must not be
 * used. Null (the default): such frames are dropped. */
typedef void (*CpFrameHandler)(const CpFrame *frame, void *context);
void cp_on_other_frame(CpConnection *connection, CpFrameHandler handler, void *context);

/* Sends a get, set or rpc request and waits for its reply, which is identified by type and method
 * code (some set requests are answered with a get reply). A television does not answer an unknown
 * code: CP_TIMED_OUT. `reply` is as from cp_receive. */
CpStatus cp_request(CpConnection *connection, uint8_t type, const CpBuffer *request, CpFrame *reply,
                    uint32_t timeout_ms);

/* Each sends a request that a builder made, and decodes the reply. The decoded bytes are borrowed
 * until the next call on the connection. */
CpStatus cp_get(CpConnection *connection, const CpBuffer *request, CpGetReply *reply,
                uint32_t timeout_ms);
CpStatus cp_set(CpConnection *connection, const CpBuffer *request, CpSetReply *reply,
                uint32_t timeout_ms);
CpStatus cp_device_info(CpConnection *connection, CpDeviceInfo *info, uint32_t timeout_ms);
CpStatus cp_string_rpc(CpConnection *connection, CpBytes text, CpRpcReply *reply,
                       uint32_t timeout_ms);

/* Sends one heartbeat and waits for its answer. CP_PROTOCOL when the answer is malformed. */
CpStatus cp_heartbeat(CpConnection *connection, uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
