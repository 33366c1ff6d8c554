/* SPDX-License-Identifier: MIT */
#include "tvlink/host/lists.h"

#include "base/block_header.h"
#include "base/text_cut.h"
#include "tvlink/host/sized_block.h"
#include "wire/frame.h"

#include <string.h>

static const uint32_t FIRST_ROOM = 4096;
static const uint32_t NO_CHANNEL = 65536;

static const uint32_t CELL_SIZE = 256;
static const uint32_t NAME_SIZE = 64;
static const uint32_t GROUP_SIZE = 32;
static const uint32_t GUIDE_ID_SIZE = 32;
static const uint32_t ADDRESS_SIZE = 124;

static const size_t SHORT_NAME_MAX = 255;
static const size_t TITLE_MAX = 255;
static const size_t DESCRIPTION_MAX = 1000;
static const size_t ENTRY_MAX = 20 + 2 * TITLE_MAX + DESCRIPTION_MAX;

/* ---- Entries of any kind */

static bool grow(IppList *list, uint32_t room)
{
    void *block = list->block == nullptr ? mem_alloc(1, room) : block_resize(list->block, room);
    if (block == nullptr) {
        return false;
    }
    list->block = block;
    list->room = room;
    return true;
}

static bool has_room(IppList *list, uint32_t size)
{
    const uint32_t wanted = list->size + size;
    if (wanted <= list->room) {
        return true;
    }
    const uint32_t doubled = list->room == 0 ? FIRST_ROOM : list->room * 2;
    return grow(list, doubled < wanted ? wanted : doubled);
}

/* The entries of one channel stand in a row. */
static int append(IppList *list, uint32_t channel, const void *bytes, uint32_t size)
{
    if (list->entries >= IPP_LIST_MAX_ENTRIES || size > IPP_LIST_MAX_BYTES - list->size) {
        return 0;
    }
    if (!has_room(list, size)) {
        return -1;
    }
    if (size > 0) {
        memcpy(static_cast<uint8_t *>(list->block) + list->size, bytes, size);
    }
    const bool same = list->entries > 0 && channel != NO_CHANNEL && channel == list->channel;
    list->channels += same ? 0 : 1;
    list->channel = channel;
    list->size += size;
    list->entries++;
    return 1;
}

int ipp_list_add(IppList *list, const void *bytes, uint32_t size)
{
    return append(list, NO_CHANNEL, bytes, size);
}

/* ---- Channels */

/* The text in a field of zeros, of which at least one stays; the end of the field. */
static uint8_t *put_field(uint8_t *to, const char *text, uint32_t size)
{
    if (text != nullptr) {
        memcpy(to, text, text_cut_length(text, size - 1));
    }
    return to + size;
}

int ipp_list_add_channel(IppList *list, const IppChannel *channel)
{
    uint8_t cell[CELL_SIZE] = {};
    store_u16(cell, channel->number);
    uint8_t *at = cell + 4;
    at = put_field(at, channel->name, NAME_SIZE);
    at = put_field(at, channel->group, GROUP_SIZE);
    at = put_field(at, channel->guide_id, GUIDE_ID_SIZE);
    put_field(at, channel->address, ADDRESS_SIZE);
    return append(list, channel->number, cell, sizeof cell);
}

int ipp_list_add_short_channel(IppList *list, uint16_t number, const char *name)
{
    uint8_t entry[3 + SHORT_NAME_MAX];
    const size_t length = name == nullptr ? 0 : text_cut_length(name, SHORT_NAME_MAX);
    store_u16(entry, number);
    entry[2] = static_cast<uint8_t>(length);
    memcpy(entry + 3, length == 0 ? "" : name, length);
    return append(list, number, entry, static_cast<uint32_t>(3 + length));
}

/* ---- The guide */

/* The text behind its 2-byte length; the end of both. */
static uint8_t *put_text(uint8_t *to, const char *text, size_t most)
{
    const size_t length = text == nullptr ? 0 : text_cut_length(text, most);
    store_u16(to, static_cast<uint16_t>(length));
    memcpy(to + 2, length == 0 ? "" : text, length);
    return to + 2 + length;
}

int ipp_list_add_programme(IppList *list, const IppProgramme *programme)
{
    uint8_t entry[ENTRY_MAX];
    store_u16(entry + 2, programme->channel);
    store_u32(entry + 4, programme->start);
    store_u32(entry + 8, programme->duration);
    uint8_t *end = put_text(entry + 12, programme->title, TITLE_MAX);
    end = put_text(end, programme->category, TITLE_MAX);
    end = put_text(end, programme->description, DESCRIPTION_MAX);
    const uint32_t size = static_cast<uint32_t>(end - entry);
    store_u16(entry, static_cast<uint16_t>(size));
    return append(list, programme->channel, entry, size);
}

/* ---- The end */

void *ipp_list_finish(IppList *list)
{
    void *block = list->size == 0 ? nullptr : block_resize(list->block, list->size);
    if (block == nullptr) {
        ipp_list_clear(list);
        return nullptr;
    }
    *list = IPP_LIST_EMPTY;
    return block;
}

void ipp_list_clear(IppList *list)
{
    block_free(list->block);
    *list = IPP_LIST_EMPTY;
}
