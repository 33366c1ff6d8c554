/*
 * controlpoint_lists: what is inside the television's larger answers.
 *
 * A list travels as one compressed block. cp_decode_list takes the reply apart, cp_expand makes the
 * block of it, and one of the cp_take_ functions takes the entries off the block's front, one by
 * one, while bytes are left. The rules of controlpoint.h hold here, too.
 */
#ifndef CONTROLPOINT_LISTS_H
#define CONTROLPOINT_LISTS_H

#include "controlpoint.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Lists --------------------------------------------------------------------------------- */

/* What the entries of a list are. */
typedef enum CpListKind {
    CP_LIST_GUIDE,         /* cp_take_guide_entry */
    CP_LIST_CHANNELS,      /* cp_take_channel */
    CP_LIST_SHORT_CHANNELS /* cp_take_short_channel */
} CpListKind;

typedef struct CpList {
    uint16_t code;
    CpListKind kind;
    bool empty;      /* the television has nothing to tell */
    uint32_t count;  /* entries; their low 16 bits, but for CP_CODE_GUIDE_WEEK, which sends all */
    uint16_t second; /* CP_CODE_GUIDE: number of channels; else 0 */
    CpBytes packed;  /* the compressed block */
} CpList;

/* Decodes the get reply, asked for or pushed, that carries a compressed list. CP_BAD_ARGUMENT when
 * its method code is not that of a list, CP_PROTOCOL when it is, but the rest does not belong to
 * it. An empty list may have any list's tag, or no value at all. */
CpStatus cp_decode_list(CpBytes payload, CpList *list);

/* Whether this many entries agree with the count that the list told. */
bool cp_list_has(const CpList *list, uint32_t entries);

enum { CP_EXPANDED_LIMIT = 64 * 1048576 /* a limit for cp_expand that every honest list keeps */ };

/* Replaces the content of `to` with the expanded bytes. CP_PROTOCOL when the bytes are not the
 * television's compression (LZW with codes of 9 to 16 bits, up to an end code) or more than `limit`
 * bytes would come out; CP_SYSTEM when memory runs out. After an error the buffer is empty. What
 * stands behind the end code is not looked at. */
CpStatus cp_expand(CpBytes packed, CpBuffer *to, size_t limit);

/* ---- Entries ------------------------------------------------------------------------------- */

/* Each takes the first entry off the front of `block`. CP_PROTOCOL, the block as it was and the
 * entry all zero, when the block does not begin with a whole one; so also when it has ended. */

typedef struct CpChannel {
    uint16_t number;
    CpBytes name;
    CpBytes group; /* no bytes in a short entry, as what follows */
    CpBytes guide_id;
    CpBytes address;
} CpChannel;
CpStatus cp_take_channel(CpBytes *block, CpChannel *channel);
CpStatus cp_take_short_channel(CpBytes *block, CpChannel *channel);

typedef struct CpGuideEntry {
    uint16_t channel;
    uint32_t start;    /* seconds since 1970, UTC */
    uint32_t duration; /* seconds */
    CpBytes title;
    CpBytes category;
    CpBytes description;
} CpGuideEntry;
CpStatus cp_take_guide_entry(CpBytes *block, CpGuideEntry *entry);

/* A cell of 256 bytes with a text in it, as film titles come. */
CpStatus cp_take_text_cell(CpBytes *block, CpBytes *text);

/* A 4-byte number, as film lengths come. */
CpStatus cp_take_number(CpBytes *block, uint32_t *number);

/* ---- The film that plays ------------------------------------------------------------------- */

enum { CP_FILM_STATUS_SIZE = 280 };

typedef struct CpFilmStatus {
    uint32_t state;    /* as the player's: CP_PLAYER_ of controlpoint_calls.h */
    uint32_t position; /* seconds */
    uint32_t duration; /* seconds */
    uint32_t film;     /* its number, from 1; 0: none */
    CpBytes title;
    CpBytes address;
} CpFilmStatus;
CpStatus cp_decode_film_status(CpBytes record, CpFilmStatus *status);

#ifdef __cplusplus
}
#endif

#endif
