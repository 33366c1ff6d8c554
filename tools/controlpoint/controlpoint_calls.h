/* SPDX-License-Identifier: MIT */
/*
 * controlpoint_calls: the television's operations, and a builder for the request of each.
 *
 * The layout of a request's values is fixed for each method code, and differs even between related
 * codes; these builders implement it. cp_build_get and cp_build_set with no arguments build
 * requests without values. The builders replace the content of `payload` and give the errors of
 * cp_build_get. The rules of controlpoint.h hold here, too.
 */
#ifndef CONTROLPOINT_CALLS_H
#define CONTROLPOINT_CALLS_H

#include "controlpoint.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Method codes -------------------------------------------------------------------------- */

/* Get requests. The comment of each: the values of the request; the value of the reply. */
enum {
    CP_CODE_IS_ON = 0x0001,             /* nothing; U8 */
    CP_CODE_IS_MUTED = 0x0105,          /* nothing; U8 */
    CP_CODE_LEVEL = 0x010E,             /* CP_LEVEL_; U8 */
    CP_CODE_CAPTURE = 0x0118,           /* width, height; PORT, 0 for a failure */
    CP_CODE_PLAY_STATE = 0x1501,        /* nothing; U8, CP_PLAYER_ */
    CP_CODE_PLAY_POSITION = 0x1502,     /* nothing; U32, seconds */
    CP_CODE_PLAY_DURATION = 0x1503,     /* nothing; U32, seconds */
    CP_CODE_GUIDE = 0x2000,             /* channels, time; list */
    CP_CODE_GUIDE_NOW = 0x2001,         /* nothing; list; also pushed unsolicited */
    CP_CODE_GUIDE_WEEK = 0x2002,        /* channel; list */
    CP_CODE_GUIDE_SEARCH = 0x2003,      /* text; list */
    CP_CODE_CHANNEL = 0x2005,           /* nothing; U32, the channel's number */
    CP_CODE_FILM_TITLE = 0x200E,        /* film; STRING */
    CP_CODE_FILM_STATUS = 0x200F,       /* nothing; RECORD, cp_decode_film_status */
    CP_CODE_FILM_LENGTHS = 0x2010,      /* nothing; BLOB, cp_take_number */
    CP_CODE_FILM_TITLES = 0x2011,       /* nothing; BLOB, cp_take_text_cell */
    CP_CODE_FILM_STATE = 0x2018,        /* nothing; U32, CP_PLAYER_ */
    CP_CODE_CHANNELS = 0x3000,          /* nothing; list */
    CP_CODE_CHANNELS_SHORT = 0x3002,    /* nothing; list */
    CP_CODE_APPLICATIONS = 0x4001,      /* number; STRING */
    CP_CODE_PLACE = 0x4002,             /* spare byte; STRING */
    CP_CODE_METADATA = 0x4003,          /* CP_METADATA_, two texts; STRING */
    CP_CODE_SETTING_COUNT = 0x400A,     /* text; U32 */
    CP_CODE_SETTING_LIST = 0x400B,      /* text; STRING */
    CP_CODE_VERSIONS = 0x400C,          /* text; STRING */
    CP_CODE_ECHO = 0x400D,              /* text; STRING */
    CP_CODE_STATE_TEXT = 0x4015,        /* text; STRING */
    CP_CODE_CHANNELS_FILTERED = 0x4016, /* text; list */
    CP_CODE_FILM_TITLE_OF = 0x4018,     /* film, text; STRING */
    CP_CODE_FILM_TITLES_OF = 0x401B,    /* text; BLOB */
    CP_CODE_FILM_LENGTHS_OF = 0x401C,   /* text; BLOB */
    CP_CODE_FILM_STATE_OF = 0x401E,     /* text; U32 */
    CP_CODE_VOICE = 0x401F,             /* text; a reply only on failure */
    CP_CODE_START_FILM = 0x4020,        /* three texts; U32 */
    CP_CODE_FILM_STATUS_OF = 0x4021,    /* text; RECORD, under CP_CODE_FILM_STATUS */
    CP_CODE_VERSION = 0x4024            /* spare byte; STRING */
};

/* Set requests. They are answered with a result, except for CP_CODE_SETTING, which is answered with
 * a get reply that carries a STRING. */
enum {
    CP_CODE_PLAY_SEEK = 0x1502,
    CP_CODE_PLAY_VOLUME = 0x1504,
    CP_CODE_PLAY_ADDRESS = 0x1505,
    CP_CODE_PLAY_START = 0x1507,
    CP_CODE_PLAY_PAUSE = 0x1508,
    CP_CODE_PLAY_STOP = 0x1509,
    CP_CODE_PLAY_OPERATION = 0x1510, /* the first of seven */
    CP_CODE_PLAY_ADDRESS_WITH_DATA = 0x1517,
    CP_CODE_SETTING = 0x4008
};

enum { CP_PLAYER_STOPPED = 0, CP_PLAYER_PLAYING = 1, CP_PLAYER_PAUSED = 2 };

/* ---- Requests with one text ---------------------------------------------------------------- */

/* Any get request whose only value is a text. CP_BAD_ARGUMENT for other codes. */
CpStatus cp_build_text_get(CpBuffer *payload, uint16_t code, CpBytes text);

/* CP_CODE_PLACE and CP_CODE_VERSION, which carry a meaningless byte. CP_BAD_ARGUMENT for other
 * codes. */
CpStatus cp_build_spare_get(CpBuffer *payload, uint16_t code);

/* ---- Guide --------------------------------------------------------------------------------- */

/* The programmes that end after the time `from` (seconds since 1970, UTC; 0: all). */
CpStatus cp_build_guide(CpBuffer *payload, uint32_t from);
CpStatus cp_build_channel_guide(CpBuffer *payload, uint32_t channel, uint32_t from);

/* The programmes that start within seven days; channel 0: on every channel. */
CpStatus cp_build_guide_week(CpBuffer *payload, uint32_t channel);

/* ---- States -------------------------------------------------------------------------------- */

enum { CP_LEVEL_VOLUME = 0, CP_LEVEL_PICTURE = 1 };
CpStatus cp_build_level(CpBuffer *payload, uint8_t selector);

/* An image of the screen, in pixels; 0: the television's own width or height. */
CpStatus cp_build_capture(CpBuffer *payload, uint16_t width, uint16_t height);

/* ---- Player -------------------------------------------------------------------------------- */

CpStatus cp_build_play_seek(CpBuffer *payload, int32_t seconds);
CpStatus cp_build_play_volume(CpBuffer *payload, uint8_t volume);
CpStatus cp_build_play_address(CpBuffer *payload, CpBytes address);

/* The television's host defines the meaning of data and option. */
CpStatus cp_build_play_address_with_data(CpBuffer *payload, CpBytes address, CpBytes data,
                                         uint8_t option);

/* One of the operations 0 to 6; CP_BAD_ARGUMENT for others. */
CpStatus cp_build_play_operation(CpBuffer *payload, uint32_t operation, int32_t value);

/* ---- Films --------------------------------------------------------------------------------- */

CpStatus cp_build_film_title(CpBuffer *payload, uint8_t film);
CpStatus cp_build_film_title_of(CpBuffer *payload, uint8_t film, CpBytes text);

/* Starts the film or the stream `what`. `seconds` is the start position in decimal digits. Texts
 * may be empty. */
CpStatus cp_build_start_film(CpBuffer *payload, CpBytes what, CpBytes title, CpBytes seconds);

enum { CP_METADATA_PROGRAMME = 0, CP_METADATA_FILM = 1 };
CpStatus cp_build_metadata(CpBuffer *payload, uint8_t selector, CpBytes title, CpBytes more);

/* ---- Settings, applications ---------------------------------------------------------------- */

/* The television's host defines the meaning of `value`. */
CpStatus cp_build_applications(CpBuffer *payload, uint32_t value);

/* The television takes at most 255 bytes of the value. An empty value only reads the setting. */
CpStatus cp_build_setting(CpBuffer *payload, CpBytes name, CpBytes value, uint8_t kind);

/* ---- Voice --------------------------------------------------------------------------------- */

/* Sends a spoken text. The television answers only a text that it does not understand, so a second
 * request follows: since requests are processed in order, its reply proves that the text has been
 * processed. `*refused`: the text was not understood. Errors are those of cp_request. */
CpStatus cp_voice(CpConnection *connection, CpBytes said, bool *refused, uint32_t timeout_ms);

/* ---- Bulk transfers ------------------------------------------------------------------------ */

enum { CP_BULK_LIMIT = 64 * 1048576 /* a limit for cp_fetch_bulk that no screen image exceeds */ };

/* Called whenever bytes have arrived. */
typedef void (*CpProgress)(size_t arrived, size_t whole, void *context);

typedef struct CpBulk {
    uint16_t port;       /* TCP port of the television: the reply to CP_CODE_CAPTURE */
    size_t limit;        /* bytes; a longer transfer is refused */
    CpProgress progress; /* may be null */
    void *context;
} CpBulk;

/* Receives the transfer that the television offers on a separate port, at the address that
 * `connection` is connected to. CP_OK: `data` holds all of it. Memory grows with the bytes that
 * have arrived, never with an announced length. CP_BAD_ARGUMENT for port 0, CP_PROTOCOL when more
 * than the limit is announced, CP_CLOSED when less arrives than announced (cp_problem of
 * `connection` has the cause), else as from cp_connect and cp_receive. After an error the buffer is
 * empty. */
CpStatus cp_fetch_bulk(CpConnection *connection, const CpBulk *bulk, CpBuffer *data,
                       uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
