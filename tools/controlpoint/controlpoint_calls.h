/*
 * controlpoint_calls: the television's operations, and a builder for the request of each.
 *
 * Where a television finds the values of a request is fixed for each method code, and differs even
 * between neighbours; these builders know. For a request without values cp_build_get and
 * cp_build_set with no arguments do. The builders replace the content of `payload` and give the
 * errors of cp_build_get. The rules of controlpoint.h hold here, too.
 */
#ifndef CONTROLPOINT_CALLS_H
#define CONTROLPOINT_CALLS_H

#include "controlpoint.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Method codes -------------------------------------------------------------------------- */

/* Get requests. Behind each: the values of the request, and what the reply carries. */
enum {
    CP_CODE_IS_ON = 0x0001,             /* nothing; U8 */
    CP_CODE_IS_MUTED = 0x0105,          /* nothing; U8 */
    CP_CODE_LEVEL = 0x010E,             /* CP_LEVEL_; U8 */
    CP_CODE_CAPTURE = 0x0118,           /* width, height; PORT, 0 for a failure */
    CP_CODE_PLAY_STATE = 0x1501,        /* nothing; U8, CP_PLAYER_ */
    CP_CODE_PLAY_POSITION = 0x1502,     /* nothing; U32, seconds */
    CP_CODE_PLAY_DURATION = 0x1503,     /* nothing; U32, seconds */
    CP_CODE_GUIDE = 0x2000,             /* channels, time; list */
    CP_CODE_GUIDE_NOW = 0x2001,         /* nothing; list; also pushed unasked */
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
    CP_CODE_VOICE = 0x401F,             /* what was said; no reply but for a failure */
    CP_CODE_START_FILM = 0x4020,        /* three texts; U32 */
    CP_CODE_FILM_STATUS_OF = 0x4021,    /* text; RECORD, under CP_CODE_FILM_STATUS */
    CP_CODE_VERSION = 0x4024            /* spare byte; STRING */
};

/* Set requests. They are answered with a result, but for CP_CODE_SETTING, which is answered with a
 * get reply that carries a STRING. */
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

/* For each get request that has a text and nothing else. CP_BAD_ARGUMENT for any other code. */
CpStatus cp_build_text_get(CpBuffer *payload, uint16_t code, CpBytes text);

/* For CP_CODE_PLACE and CP_CODE_VERSION, which carry a byte that says nothing. */
CpStatus cp_build_spare_get(CpBuffer *payload, uint16_t code);

/* ---- Guide --------------------------------------------------------------------------------- */

/* What ends after the time `from` (seconds since 1970, UTC; 0: everything). */
CpStatus cp_build_guide(CpBuffer *payload, uint32_t from);
CpStatus cp_build_channel_guide(CpBuffer *payload, uint32_t channel, uint32_t from);

/* What begins within seven days; channel 0: on every channel. */
CpStatus cp_build_guide_week(CpBuffer *payload, uint32_t channel);

/* ---- States -------------------------------------------------------------------------------- */

enum { CP_LEVEL_VOLUME = 0, CP_LEVEL_PICTURE = 1 };
CpStatus cp_build_level(CpBuffer *payload, uint8_t selector);

/* An image of the screen; a side of 0 pixels: as it is. */
CpStatus cp_build_capture(CpBuffer *payload, uint16_t width, uint16_t height);

/* ---- Player -------------------------------------------------------------------------------- */

CpStatus cp_build_play_seek(CpBuffer *payload, int32_t seconds);
CpStatus cp_build_play_volume(CpBuffer *payload, uint8_t volume);
CpStatus cp_build_play_address(CpBuffer *payload, CpBytes address);

/* What data and option mean is up to the television's host. */
CpStatus cp_build_play_address_with_data(CpBuffer *payload, CpBytes address, CpBytes data,
                                         uint8_t option);

/* One of the operations 0 to 6; CP_BAD_ARGUMENT for another. */
CpStatus cp_build_play_operation(CpBuffer *payload, uint32_t operation, int32_t value);

/* ---- Films --------------------------------------------------------------------------------- */

CpStatus cp_build_film_title(CpBuffer *payload, uint8_t film);
CpStatus cp_build_film_title_of(CpBuffer *payload, uint8_t film, CpBytes text);

/* Starts the film or the stream `what`. `seconds`, in decimal digits, is where to begin. Texts may
 * be empty. */
CpStatus cp_build_start_film(CpBuffer *payload, CpBytes what, CpBytes title, CpBytes seconds);

enum { CP_METADATA_PROGRAMME = 0, CP_METADATA_FILM = 1 };
CpStatus cp_build_metadata(CpBuffer *payload, uint8_t selector, CpBytes title, CpBytes more);

/* ---- Settings, applications ---------------------------------------------------------------- */

/* What `value` asks for is up to the television's host. */
CpStatus cp_build_applications(CpBuffer *payload, uint32_t value);

/* The television takes at most 255 bytes of the value. An empty one only reads. */
CpStatus cp_build_setting(CpBuffer *payload, CpBytes name, CpBytes value, uint8_t kind);

/* ---- Voice --------------------------------------------------------------------------------- */

/* Sends what was said. The television answers only if it did not understand, so a second request
 * goes after it: once that is answered, the first was dealt with. `refused` tells whether it was
 * not understood. Errors are those of cp_request. */
CpStatus cp_voice(CpConnection *connection, CpBytes said, bool *refused, uint32_t timeout_ms);

/* ---- Bulk transfers ------------------------------------------------------------------------ */

enum { CP_BULK_LIMIT = 64 * 1048576 /* a limit for cp_fetch_bulk that every screen keeps */ };

/* Called whenever bytes have arrived. */
typedef void (*CpProgress)(size_t arrived, size_t whole, void *context);

typedef struct CpBulk {
    uint16_t port;       /* where the television waits: the reply to CP_CODE_CAPTURE */
    size_t limit;        /* more than that is refused */
    CpProgress progress; /* null: nobody wants to know */
    void *context;
} CpBulk;

/* Fetches what the television holds ready on a port of its own, from the address that `connection`
 * is connected to. CP_OK: `data` holds all of it. Memory grows with what has arrived, never with
 * what is announced. CP_BAD_ARGUMENT for port 0, CP_PROTOCOL when more is announced than the limit
 * allows, CP_CLOSED when less arrives than was announced (cp_problem of `connection` tells), else
 * as from cp_connect and cp_receive. After an error the buffer is empty. */
CpStatus cp_fetch_bulk(CpConnection *connection, const CpBulk *bulk, CpBuffer *data,
                       uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
