/* SPDX-License-Identifier: MIT */
/* Lists that slots return, built without packing bytes by hand, and a guide pushed to every phone.
 *
 *     IppList list = IPP_LIST_EMPTY;
 *     IppChannel channel = {7, "Sport", "Leisure", "sport.example", "http://192.0.2.9/7"};
 *     ipp_list_add_channel(&list, &channel);
 *     *count = (uint16_t)list.entries;
 *     return ipp_list_finish(&list);
 *
 * What the bytes mean is an agreement between a television and its phones, which the library does
 * not look at; docs/LISTS.md describes what these functions write. A list is used by one thread at
 * a time. Texts are UTF-8, borrowed for the call, cut only where a character ends; null is empty.
 */
#ifndef TVLINK_HOST_LISTS_H
#define TVLINK_HOST_LISTS_H

#include "tvlink/api.h"

#include <stddef.h>
#include <stdint.h>

TVLINK_BEGIN

/* The limits of a list: entries, and bytes of all entries. */
#define IPP_LIST_MAX_ENTRIES 65535u
#define IPP_LIST_MAX_BYTES 16777216u

/* A list that is being built. The members are for reading. */
typedef struct IppList {
    void *block;       /* the library's until ipp_list_finish */
    uint32_t room;     /* of the block, in bytes */
    uint32_t size;     /* in bytes */
    uint32_t entries;  /* how many there are */
    uint32_t channels; /* how many channels the entries belong to, each channel's in a row */
    uint32_t channel;  /* of the latest entry */
} IppList;

/* What a list is initialised with. */
#define IPP_LIST_EMPTY                                                                             \
    {                                                                                              \
        NULL, 0u, 0u, 0u, 0u, 0u                                                                   \
    }

/* A channel; each text leaves room for a zero in its field of 64, 32, 32 and 124 bytes. */
typedef struct IppChannel {
    uint16_t number;      /* 1 to 65,535 */
    const char *name;     /* as phones show it */
    const char *group;    /* that it belongs to */
    const char *guide_id; /* the guide's name for it */
    const char *address;  /* of its stream */
} IppChannel;

/* A programme of the guide; title and category have up to 255 bytes, a description 1,000. */
typedef struct IppProgramme {
    uint16_t channel;        /* its number */
    uint32_t start;          /* seconds since the epoch */
    uint32_t duration;       /* seconds */
    const char *title;       /* as phones show it */
    const char *category;    /* "Film", for example */
    const char *description; /* a few sentences */
} IppProgramme;

/* Each adds one entry to the list. 1; 0 when the list is full, at IPP_LIST_MAX_ENTRIES or
 * IPP_LIST_MAX_BYTES; -1 when memory is out. After 0 and -1 the list is as before. */

/* These bytes as they are. They belong to no channel: each entry counts as one. */
TVLINK_API int ipp_list_add(IppList *list, const void *bytes, uint32_t size);

/* A cell of 256 bytes, for get_tv_channelcode and get_tv_channelcode3. */
TVLINK_API int ipp_list_add_channel(IppList *list, const IppChannel *channel);

/* Number and name, of up to 255 bytes, for get_tv_channelcode2. */
TVLINK_API int ipp_list_add_short_channel(IppList *list, uint16_t number, const char *name);

/* An entry of the guide, for get_tv_epg and its relatives. */
TVLINK_API int ipp_list_add_programme(IppList *list, const IppProgramme *programme);

/* Ends the list, which is then empty and may be begun again. Its entries as a sized block
 * (tvlink/host/sized_block.h), for the slot to return, or the caller's to free; null, which stands
 * for an empty list, when there are none. */
TVLINK_API void *ipp_list_finish(IppList *list);

/* Drops what has been added; the list is then empty. */
TVLINK_API void ipp_list_clear(IppList *list);

/* Ends the list and pushes it, a list of programmes, to every phone that is connected, as if each
 * had asked for the simple guide; an empty list as the empty reply. The phones to which a push was
 * started (tvlink/host/push.h); -1 when memory is out. Any thread; compresses the list, and does
 * not wait for the network. */
TVLINK_API int32_t ipp_push_guide(IppList *list);

TVLINK_END

#endif
