/* SPDX-License-Identifier: MIT */
/*
 * controlpoint_lists: the lists in the television's larger replies.
 *
 * A list is sent as one compressed block. cp_decode_list decodes the reply, cp_expand decompresses
 * the block, and one of the cp_take_ functions removes the entries from the front of the block, one
 * by one, until no bytes are left. The rules of controlpoint.h hold here, too.
 */
#ifndef CONTROLPOINT_LISTS_H
#define CONTROLPOINT_LISTS_H

#include "controlpoint.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Lists --------------------------------------------------------------------------------- */

/* The type of a list's entries, and the function that reads one. */
typedef enum CpListKind {
    CP_LIST_GUIDE,         /* cp_take_guide_entry */
    CP_LIST_CHANNELS,      /* cp_take_channel */
    CP_LIST_SHORT_CHANNELS /* cp_take_short_channel */
} CpListKind;

typedef struct CpList {
    uint16_t code;
    CpListKind kind;
    bool empty;      /* the television has no data */
    uint32_t count;  /* entries: all 32 bits for CP_CODE_GUIDE_WEEK, else the low 16 */
    uint16_t second; /* CP_CODE_GUIDE: number of channels; else 0 */
    CpBytes packed;  /* the compressed block */
} CpList;

/* Decodes a get reply, requested or pushed, that carries a compressed list. CP_BAD_ARGUMENT when
 * the method code is not that of a list, CP_PROTOCOL when the value is not that of the code. An
 * empty list may have any list's tag, or no value at all. */
CpStatus cp_decode_list(CpBytes payload, CpList *list);

/* True when this number of entries agrees with the list's count. */
bool cp_list_has(const CpList *list, uint32_t entries);

enum { CP_EXPANDED_LIMIT = 64 * 1048576 /* a limit for cp_expand that no valid list exceeds */ };

/* Replaces the content of `to` with the expanded bytes. CP_PROTOCOL when the bytes are not the
 * television's compression (LZW with codes of 9 to 16 bits, up to an end code) or more than `limit`
 * bytes would result; CP_SYSTEM when memory runs out. After an error the buffer is empty. Bytes
 * after the end code are ignored. */
CpStatus cp_expand(CpBytes packed, CpBuffer *to, size_t limit);

/* ---- Entries ------------------------------------------------------------------------------- */

/* Each removes the first entry from the front of `block`. CP_PROTOCOL, with the block unchanged and
 * the entry all zero, when the block is empty or its first entry is incomplete. */

typedef struct CpChannel {
    uint16_t number;
    CpBytes name;
    CpBytes group; /* this and the following: empty in a short entry */
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

/* A cell of 256 bytes with a text: an entry of the film titles. */
CpStatus cp_take_text_cell(CpBytes *block, CpBytes *text);

/* A 4-byte number: an entry of the film lengths. */
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
