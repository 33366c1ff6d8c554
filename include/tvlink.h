/* SPDX-License-Identifier: MIT */
/* tvlink: makes a television a device that phones on the local network find and control.
 *
 * A host sets its guard and its method table, starts the service with ipp_init, reports events
 * while it runs, and stops it with ipp_finish:
 *
 *     static const IppGuard guard = IPP_GUARD_RECOMMENDED;
 *     static TvMethodTable table;
 *
 *     table.set_tv_volume = change_volume;
 *     register_tv_method(&table);
 *     ipp_set_guard(&guard);
 *     if (ipp_init(1, "Living room", "SN-0001") != IPP_OK)
 *         return 1;
 *
 * examples/television.c is a whole host. tvlink/conventions.h has words for codes, keys and events,
 * tvlink/host/lists.h builds the lists that slots return, tvlink/observer.h tells what happens. The
 * other exports of the library are declared in the headers under tvlink/, one for each subject.
 *
 * The service belongs to the process that started it: a child of that process has none of its
 * threads and may only exec, so a host that becomes a daemon starts it afterwards. A thread must
 * not be cancelled while it is inside a call: its locks would stay locked. */
#ifndef TVLINK_H
#define TVLINK_H

#include <stddef.h>
#include <stdint.h>

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"
#include "tvlink/observer.h"

TVLINK_BEGIN

/* ---- Version ---- */

/* The version of these headers: three numbers. */
#define TVLINK_VERSION_MAJOR 0
#define TVLINK_VERSION_MINOR 1
#define TVLINK_VERSION_PATCH 0

/* The three numbers as a string literal, "0.1.2" for example. */
#define TVLINK_VERSION                                                                             \
    TVLINK_DOTTED(TVLINK_VERSION_MAJOR, TVLINK_VERSION_MINOR, TVLINK_VERSION_PATCH)
#define TVLINK_DOTTED(major, minor, patch) TVLINK_DOTTED_TEXT(major, minor, patch)
#define TVLINK_DOTTED_TEXT(major, minor, patch) #major "." #minor "." #patch

/* The version of the library that is loaded, in the form of TVLINK_VERSION. Static text; any
 * thread; never blocks. */
TVLINK_API const char *ipp_version(void);

/* ---- Lifecycle ---- */

#define IPP_CONTROL_PORT 8801 /* TCP: control connections */
#define IPP_SEARCH_PORT 12426 /* UDP: the television hears searches here */
#define IPP_ANSWER_PORT 9988  /* UDP: phones hear answers and announcements here */

#define IPP_TEXT_LIMIT 255              /* bytes of a name or a serial number that are kept */
#define IPP_DEFAULT_NAME "KV-EU-TV"     /* for a null name */
#define IPP_DEFAULT_SERIAL "EU-TVsn001" /* for a null serial number */

/* Results of ipp_init and of the operations that it is made of. */
#define IPP_OK 0
#define IPP_ERROR (-1)        /* a wrong argument, no memory, no worker, or no control port */
#define IPP_ERROR_SOCKET (-3) /* a socket could not be set up; ipp_init says IPP_ERROR instead */
#define IPP_ERROR_THREAD (-4) /* a network thread could not be created */

/* Starts the service: control connections on IPP_CONTROL_PORT, answers to searches, announcements.
 *
 * device_type   its low 16 bits are sent to phones that search
 * name, serial  borrowed for the call; at most IPP_TEXT_LIMIT bytes of each are kept. Null writes
 *               the default's characters over the start of the current text: the rest of a longer
 *               text of an earlier call stays.
 *
 * IPP_OK when the service runs. When it was running already, only name and serial are replaced. Any
 * other result: everything that had been started is stopped again, and the call may be repeated.
 *
 * While another process holds the control port the call keeps trying to bind it, without an end
 * unless the guard's bind_wait_ms sets one. Not to be called by two threads at once, nor together
 * with ipp_finish, nor from a slot. After ipp_finish it starts the service anew, with the same two
 * workers. */
TVLINK_API int32_t ipp_init(uint32_t device_type, const char *name, const char *serial);

/* Stops the service: the network threads end, every connection is closed. Always 0. Idempotent, and
 * harmless when the service does not run or after a failed ipp_init.
 *
 * Blocks until the network threads have ended, up to 1.5 seconds for the server thread. A request
 * that the worker is running at that moment runs to its end, possibly after this call has returned,
 * and its reply is discarded; those still queued are dropped. So slots may still run after the
 * call, and the method table must stay valid. An announcing thread may go on sleeping for up to 64
 * seconds, but announces nothing more. Not to be called by two threads at once, nor from a slot or
 * a callback. */
TVLINK_API int32_t ipp_finish(void);

/* ---- Events ---- */

/* Sends an event to every connected control point.
 *
 * code, value   their low 16 bits are sent; their meaning is the host's
 * text          terminated, or null for an empty one; borrowed for the call
 * data          data_length bytes, null only when data_length is 0; borrowed for the call
 *
 * 0, also when no control point is connected, before the start and after the stop; -1 when the
 * event would not fit a frame or memory ran out, and then nothing is sent. Any thread, also from
 * inside a slot. May block while a connection's buffers are full; the guard's send_stall_ms bounds
 * that for each connection. */
TVLINK_API int32_t ipp_report_dev_event(int32_t code, uint32_t value, const char *text,
                                        const void *data, uint32_t data_length);

/* The same with two texts. */
TVLINK_API int32_t ipp_report_dev_event2(int32_t code, uint32_t value, const char *text1,
                                         const char *text2, const void *data, uint32_t data_length);

/* ---- The method table ---- */

/* The television's operations: one slot for each, in a fixed order. The host fills a record and
 * passes it to register_tv_method; each request of a phone becomes a call of one slot.
 *
 * How slots are called, unless the slot's own comment says otherwise:
 *
 * - Thread. [worker]: the library's request worker, one call at a time, in the order in which
 *   requests arrived. [caller]: no method code leads there; the slot runs on the thread on which
 *   the host calls the handler of the same name (tvlink/handlers.h), possibly beside the
 *   worker. Phones get at what such a slot does by a key, where its comment names one, or by a
 *   string call (tv_ippRpcFunSet) in words that host and phones agree on; to a handler itself none
 *   can get.
 * - Locks. None is held; a slot may call ipp_report_dev_event.
 * - Blocking. It may block, but every later request of every phone waits behind it.
 * - Texts (const char *) end in zero and are borrowed: valid until the slot returns. Their greatest
 *   length in bytes stands beside them.
 * - Buffers (char *) are zeroed, lent for the call, and take the stated number of bytes, the
 *   terminating zero included.
 * - Out values point to variables of the handler that are zero before the call; they may be left
 *   alone.
 * - Data results belong to the library from the return on: made with malloc or calloc, released
 *   with free once sent.
 * - A null slot is never called; the phone gets a failure reply, or no reply where the slot's
 *   comment says "silent".
 *
 * Terms in the comments:
 *
 * - "status": the low 8 bits are sent as the result byte, so -128 to 127 are preserved and -1
 *   arrives as 0xFF. 0 is success, negative failure; other values mean what host and phone agree.
 * - "empty reply": a reply without a value; it means that the slot failed.
 * - "sized block": see below.
 * - "get 0x2000", "set 0x0109": kind and method code of the request that reaches the slot.
 *
 * A sized block is returned by slots whose data is sent compressed: on the C heap, two uint32_t
 * words, element size and element count, and right behind them the data, whose address is returned.
 * ipp_list_finish (tvlink/host/lists.h) makes one of channels or programmes.
 * The library releases it by freeing the address of the two words. The data is as long as the count
 * says, so use elements of one byte. mem_alloc (tvlink/host/sized_block.h) makes such a block;
 * without it:
 *
 *     static void *guide(uint16_t *entries)
 *     {
 *         uint32_t *header = (uint32_t *)malloc(2 * sizeof(uint32_t) + sizeof guide_bytes);
 *         if (header == NULL)
 *             return NULL;
 *         header[0] = 1;
 *         header[1] = (uint32_t)sizeof guide_bytes;
 *         memcpy(header + 2, guide_bytes, sizeof guide_bytes);
 *         *entries = 3;
 *         return header + 2;
 *     }
 *
 * A null result or a count of 0 means that there is no data: the empty reply. */
typedef struct TvMethodTable {
    /* -- unnamed switches; an empty argument is answered with 0 and does not reach the slot -- */

    /* 0: text up to 65,535 bytes, not empty; a value. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_code0115)(const char *text, uint16_t value);
    /* 1: text up to 65,535 bytes, not empty. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_code3001)(const char *text);
    /* 2: a value, not 0. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_code0116)(uint16_t value);
    /* 3: a value, not 0. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_code0117)(uint32_t value);

    /* -- screen, guide, simple states -- */

    /* 4: two parameters whose meaning is the host's; out: the image's length in bytes. Result: the
     * image, which stays the host's: it is copied before the next slot is called. Failure: null,
     * the phone gets port 0. Null slot: silent. [worker] get 0x0118. */
    void *(*get_screen_shot2)(int16_t parameter1, uint16_t parameter2, uint32_t *length);
    /* 5: guide entries. Out: their count; a value that is not sent; selectors as the phone sent
     * them; out: a value whose low 16 bits are sent. Result: a sized block, given to the library.
     * Failure: null, empty reply. Null slot: silent. [worker] get 0x2000. */
    void *(*get_tv_epg)(uint16_t *count, uint32_t *unsent, uint8_t selector1, uint32_t selector2,
                        uint32_t selector3, uint32_t *value);
    /* 6: a week's guide. A selector as the phone sent it; out: a value that is sent whole. Result:
     * a sized block, given to the library. Failure: null, empty reply. [worker] get 0x2002. */
    void *(*get_tv_epgweek)(uint32_t selector, uint32_t *value);
    /* 7: Result: a state; the low 8 bits are sent; no failure value. Null slot: silent.
     * [worker] get 0x0105. */
    int (*get_tv_code0105)(void);
    /* 8: state of the video-on-demand player. Result: sent whole; no failure value.
     * [worker] get 0x2018. */
    int (*get_tv_vodplayer)(void);
    /* 9: the text that is being typed. Buffer: 256 bytes. Result: ignored; no failure value. Null
     * slot: silent. [worker] get 0x0112. */
    int (*get_tv_text)(char *buffer);
    /* 10: video-on-demand texts. Out: count of cells. Result: one block of count cells of 256 bytes
     * each, given to the library. Failure: null with a count above 0, empty reply.
     * [worker] get 0x2011. */
    void *(*get_tv_vodarraystring)(uint32_t *count);
    /* 11: the same for a text, up to 65,535 bytes. Result and failure as slot 10.
     * [worker] get 0x401B. */
    void *(*get_tv_vodarraystring2)(const char *text, uint32_t *count);
    /* 12: the order of the channels. Out: count of channels; length of the data in bytes. Result:
     * the data, given to the library; null is sent as that many zeros. No failure value.
     * [worker] get 0x2007. */
    void *(*get_tv_order)(uint16_t *count, uint32_t *length);
    /* 13: a selector as the phone sent it. Result: a state; the low 8 bits are sent; no failure
     * value. Null slot: silent. [worker] get 0x010E. */
    int (*get_tv_code010e)(uint8_t selector);
    /* 14: Result: a state; the low 8 bits are sent; no failure value. Null slot: silent.
     * [worker] get 0x0001. */
    int (*get_tv_code0001)(void);

    /* -- the plain remote control -- */

    /* 15: 0 sound on, otherwise muted. Result: status; failure: negative. [caller] no code; phones
     * send the key IPP_KEY_MUTE. */
    int (*set_tv_mute)(uint8_t mute);
    /* 16: an unnamed action. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_action2)(void);
    /* 17: an unnamed action. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_action1)(void);
    /* 18: pairs with a phone. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_bind)(void);
    /* 19: starts a search for channels. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_searchchannel)(void);
    /* 20: shows a phone's text. Text up to 65,535 bytes; its length. Result: status; failure:
     * negative. [caller] no code. */
    int (*set_tv_showphone)(const char *text, uint32_t length);
    /* 21: details of a video on demand. Two texts up to 65,535 bytes, each with its length. Result:
     * status; failure: negative. [caller] no code. */
    int (*set_tv_voddetails)(const char *text1, uint32_t length1, const char *text2,
                             uint32_t length2);
    /* 22: an account's five texts, each up to 255 bytes. Result: never sent, the phone always gets
     * 0; no failure value. [caller] no code. */
    int (*set_tv_loginfromtv)(const char *text1, const char *text2, const char *text3,
                              const char *text4, const char *text5);
    /* 23: picture mode; the host's numbers. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_mode)(uint32_t mode);
    /* 24: Result: a state, sent whole; no failure value. Null slot: silent. [worker] get 0x2005. */
    uint32_t (*get_tv_code2005)(void);
    /* 25: steps of volume, -255 to 255, negative is quieter. Result: status; failure: negative.
     * [worker] set 0x010F (louder), 0x0110 (quieter). */
    int (*set_tv_volume)(int32_t step);
    /* 26: power mode; the host's numbers. Result: status; failure: negative. [caller] no code;
     * phones send the key IPP_KEY_POWER. */
    int (*set_tv_powermode)(uint8_t mode);
    /* 27: a key's code and a second value, both as the phone sent them. Result: status; failure:
     * negative. [worker] set 0x0109. */
    int (*set_tv_key)(uint32_t key, uint32_t value);
    /* 28: a touch in the phone's units, truncated toward zero; what has no 32-bit value is
     * 0x7FFFFFFF. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_touch)(int32_t x, int32_t y);
    /* 29: steps of channel, -255 to 255, negative is down. Result: status; failure: negative.
     * [worker] set 0x0101 (up), 0x0102 (down). */
    int (*set_tv_channel)(int32_t step);
    /* 30: a pointer's movement: three values as the phone sent them. Result: never sent, the phone
     * gets no reply; no failure value. [caller] no code. */
    int (*set_tv_mouse)(int16_t value1, int16_t value2, int16_t value3);
    /* 31: a pair of texts: the second, up to 31 bytes, comes first, then the first, up to 255
     * bytes. Result: status; failure: negative. [worker] set 0x0112. */
    int (*set_tv_textpair)(const char *second, const char *first);
    /* 32: changes the channels' order: two values, kind 1 or 2. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_order)(uint16_t first, uint16_t second, int kind);
    /* 33: three values as the phone sent them. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_int3)(uint32_t value1, uint32_t value2, uint32_t value3);
    /* 34: the television's new name, up to 255 bytes, and its length. Result: status; failure:
     * negative; the library takes over the name whatever the result. [caller] no code. */
    int (*set_tv_name)(const char *name, uint32_t length);
    /* 35: reserved; may be null, never called. */
    void (*reserved_35)(void);

    /* -- settings, accounts and lists -- */

    /* 36: applications to install: text up to 65,535 bytes, the number behind it. Result: sent
     * whole; failure: negative by agreement. [caller] no code. */
    int (*set_tv_install_apklist)(const char *text, uint32_t number);
    /* 37: where the television stands: text up to 65,535 bytes, its length. Result: sent whole;
     * failure: negative by agreement. [caller] no code. */
    int (*set_tv_current_position)(const char *text, uint32_t length);
    /* 38: a nickname: text up to 65,535 bytes, the number behind it. Result: sent whole; failure:
     * negative by agreement. [caller] no code. */
    int (*set_tv_nick_name)(const char *text, uint32_t number);
    /* 39: a metadata setting: the second text, up to 255 bytes, and its length; the first, up to
     * 65,535 bytes, and its length; a value; buffer for an answer: 2,560 bytes. Result: ignored,
     * the answer is sent; no failure value. [worker] set 0x4008. */
    int (*set_tv_setting_mtnadata)(const char *text2, uint32_t length2, const char *text1,
                                   uint32_t length1, uint8_t value, char *answer);
    /* 40: a typed video-on-demand value: selector, text up to 65,535 bytes, number. Result: status;
     * failure: negative. [caller] no code. */
    int (*set_tv_vod_vt_int)(uint8_t selector, const char *text, uint32_t value);
    /* 41: the same with two texts, each up to 65,535 bytes. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_vod_vt_str)(uint8_t selector, const char *text1, const char *text2);
    /* 42: the same with a 64-bit number. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_vod_vt_long)(uint8_t selector, const char *text, int64_t value);
    /* 43: a phone has connected: two texts, each up to 65,535 bytes. Result: status; failure:
     * negative. [caller] no code. */
    int (*set_tv_show_phone_connect)(const char *text1, const char *text2);
    /* 44: shuts down. Result: never sent, the phone gets 0 once the slot has returned; no failure
     * value. [caller] no code. */
    int (*set_tv_shut_down)(void);

    /* -- video on demand -- */

    /* 45: a selector. Result: a text on the C heap, given to the library, sent up to 65,535 bytes.
     * Failure: null, empty reply. [worker] get 0x200E. */
    char *(*get_tv_vodstr)(uint8_t selector);
    /* 46: the same with a text, up to 2,559 bytes. [worker] get 0x4018. */
    char *(*get_tv_vodstr2)(uint8_t selector, const char *text);
    /* 47: fills a status record: a zeroed buffer of 280 bytes, aligned for any structure, lent for
     * the call. Result: above 0 is success; failure: 0 or less, empty reply.
     * [worker] get 0x200F. */
    int (*get_tv_vodstatus)(void *record);
    /* 48: the same with a text, up to 65,535 bytes. [worker] get 0x4021. */
    int (*get_tv_vodstatus2)(const char *text, void *record);
    /* 49: Out: count of integers. Result: the array on the C heap, given to the library; null is
     * well with a count of 0. Failure: a count of 0xFFFFFFFF, or null with a count above 0: empty
     * reply. [worker] get 0x2010. */
    uint32_t *(*get_tv_vodintarray)(uint32_t *count);
    /* 50: the same with a text, up to 2,559 bytes. [worker] get 0x401C. */
    uint32_t *(*get_tv_vodintarray2)(uint32_t *count, const char *text);
    /* 51: a value whose type is given by tag: 1 to 6, 9 and 32 set value; 18 sets low and high, the
     * halves of 64 bits; 7 and 8 set text, up to 1,023 bytes, and its length. Arguments that a tag
     * does not set are 0 or null. Result: status; failure: negative. [caller] no code. */
    int (*set_tv_vod)(uint8_t tag, uint32_t value, uint32_t low, uint32_t high, const char *text,
                      uint32_t length);
    /* 52: reserved; may be null, never called. */
    void (*reserved_52)(void);

    /* -- guide and channel lists -- */

    /* 53: a simple guide. Out: count of entries. Result: a sized block, given to the library.
     * Failure: null, empty reply. [worker] get 0x2001. */
    void *(*get_tv_simpleepg)(uint16_t *count);
    /* 54: the channel list. Out: count of channels. Result and failure as slot 53.
     * [worker] get 0x3000. */
    void *(*get_tv_channelcode)(uint16_t *count);
    /* 55: the channel list in its second form. Result and failure as slot 53.
     * [worker] get 0x3002. */
    void *(*get_tv_channelcode2)(uint16_t *count);
    /* 56: the channels that a text, up to 65,535 bytes, selects. Result and failure as slot 53.
     * [worker] get 0x4016. */
    void *(*get_tv_channelcode3)(const char *filter, uint16_t *count);
    /* 57: guide entries that match a text, up to 1,023 bytes, and its length. Out: their count; a
     * value that is not sent. Result and failure as slot 53. [worker] get 0x2003. */
    void *(*get_tv_searchsimpleepg)(const char *text, uint32_t length, uint16_t *count,
                                    uint32_t *unsent);

    /* -- metadata, applications, player -- */

    /* 58: metadata for two texts, each up to 65,535 bytes, and a selector. Buffer: 65,535 bytes.
     * Failure: negative, empty reply. [worker] get 0x4003. */
    int (*get_tv_metadata)(const char *text1, const char *text2, uint8_t selector, char *answer);
    /* 59: the installed applications, for a value that the phone sent. Buffer: 65,535 bytes.
     * Failure: negative, empty reply. [worker] get 0x4001. */
    int (*get_tv_installapklist)(uint32_t value, char *answer);
    /* 60: the current position. Buffer: 65,535 bytes. Failure: negative, empty reply.
     * [worker] get 0x4002. */
    int (*get_tv_currentposition)(char *answer);
    /* 61: a Wi-Fi network's text, up to 255 bytes. Result: status; failure: negative.
     * [caller] no code. */
    int (*set_tv_wifiinfo)(const char *text);
    /* 62: starts a player with three texts, each up to 65,535 bytes. Result: sent whole; failure:
     * negative, empty reply. [worker] get 0x4020. */
    int (*get_startplayer)(const char *text1, const char *text2, const char *text3);
    /* 63: a voice request: length bytes, up to 65,535, borrowed for the call. Failure: negative,
     * empty reply; otherwise the phone gets no reply. [worker] get 0x401F. */
    int (*tv_sendvoice)(const void *data, uint32_t length);
    /* 64: state of the player for a text, up to 65,535 bytes. Result: sent whole; no failure value.
     * [worker] get 0x401E. */
    int (*get_tv_vodplayer_v2)(const char *text);
    /* 65: the version's text. Buffer: 32 bytes. Failure: negative, empty reply.
     * [worker] get 0x4024. */
    int (*get_europe_version)(char *buffer);
    /* 66: the host's text in the device information. Buffer: 256 bytes. Result: ignored; no failure
     * value. Null slot: an empty text is sent.
     * [worker] get, device information (no method code). */
    int (*get_device_info)(char *buffer);

    /* -- text queries: an answer for a text, up to 2,559 bytes -- */

    /* 67: Buffer: 2,560 bytes. Result: ignored; no failure value. [worker] get 0x400B. */
    int (*get_tv_code400b)(char *answer, const char *text);
    /* 68: Buffer: 2,560 bytes. Result: ignored; no failure value. [worker] get 0x400C. */
    int (*get_tv_code400c)(char *answer, const char *text);
    /* 69: Buffer: 2,560 bytes. Result: ignored; no failure value. [worker] get 0x400D. */
    int (*get_tv_code400d)(char *answer, const char *text);
    /* 70: Out: a value, sent whole. Result: ignored; no failure value. [worker] get 0x400A. */
    int (*get_tv_code400a)(uint32_t *answer, const char *text);
    /* 71: Buffer: 2,560 bytes. Result: ignored; no failure value. [worker] get 0x4015. */
    int (*get_tv_code4015)(char *answer, const char *text);
    /* 72, 73: reserved; may be null, never called. */
    void (*reserved_72)(void);
    void (*reserved_73)(void);

    /* -- media player -- */

    /* 74: Result: the play state; the low 8 bits are sent; no failure value. Null slot: silent.
     * [worker] get 0x1501. */
    int (*get_play_status)(void);
    /* 75: Result: the position in the host's unit, sent whole; no failure value. Null slot:
     * silent.
     * [worker] get 0x1502. */
    uint32_t (*get_play_position)(void);
    /* 76: Result: the duration in the host's unit, sent whole; no failure value. Null slot:
     * silent.
     * [worker] get 0x1503. */
    uint32_t (*get_play_duration)(void);
    /* 77: reserved; may be null, never called. */
    void (*reserved_77)(void);
    /* 78: a stream's address, up to 65,535 bytes, on the C heap. It is the host's from the call on:
     * the host frees it. Result: status; failure: negative, the text is the host's all the same.
     * [worker] set 0x1505. */
    int (*set_play_addr)(char *address);
    /* 79: a stream's address, up to 65,535 bytes; length bytes of data, a zero behind them; an
     * option. All borrowed. Result: status; failure: negative. [worker] set 0x1517. */
    int (*set_play_addr2)(const char *address, const void *data, uint32_t length, uint8_t option);
    /* 80: reserved; may be null, never called. */
    void (*reserved_80)(void);
    /* 81: the player's volume, 0 to 255. Result: status; failure: negative. [worker] set 0x1504. */
    int (*set_play_volume)(uint8_t volume);
    /* 82: plays. Result: status; failure: negative. [worker] set 0x1507. */
    int (*set_play_start)(void);
    /* 83: pauses. Result: status; failure: negative. [worker] set 0x1508. */
    int (*set_play_pause)(void);
    /* 84: stops. Result: status; failure: negative. [worker] set 0x1509. */
    int (*set_play_stop)(void);
    /* 85: seeks to a position in the host's unit. Result: status; failure: negative.
     * [worker] set 0x1502. */
    int (*set_play_seek)(int32_t position);
    /* 86: an operation of the player, identified by its method code, and its value. Result: status;
     * failure: negative. [worker] set 0x1510 to 0x1516. */
    int (*set_play_operation)(uint32_t code, int32_t value);
} TvMethodTable;

/* Makes table the one whose slots are called and returns it; null removes the current one.
 * Nothing is copied: the record stays the host's and must outlive its last use, which may be after
 * ipp_finish (see there). Call it before ipp_init; later calls replace the table from the next
 * request on. Any thread; never blocks. */
TVLINK_API const TvMethodTable *(register_tv_method)(const TvMethodTable *table);

/* The same with the size of the host's version of the record; a host calls it by its short name.
 * Slots that a newer host has filled and this library does not know are refused: null, and nothing
 * changes. Of an older host's record, which is shorter, a copy is taken. */
#define register_tv_method(table) register_tv_method_sized((table), sizeof(TvMethodTable))
TVLINK_API const TvMethodTable *register_tv_method_sized(const TvMethodTable *table, size_t size);

/* The table that is registered, or null. For reading; register_tv_method sets it. */
extern TVLINK_API const TvMethodTable *g_tv_method;

#define IPP_RPC_ANSWER_SIZE 2560 /* bytes for the answer to a string call */

/* The host's function for string remote procedure calls, or null; the host stores it here before
 * ipp_init. It is given a zeroed buffer of IPP_RPC_ANSWER_SIZE bytes for a terminated answer, and
 * the request, a terminated text of up to 65,535 bytes; both are lent for the call. It returns 1
 * for success; on any other result, and when it is null, the phone gets no reply. It runs on the
 * request worker like a slot. */
extern TVLINK_API int (*tv_ippRpcFunSet)(char *answer, const char *request);

/* Do nothing and return 0; kept for hosts that call them. */
TVLINK_API int tv_opt(void);
TVLINK_API int tv_finish(void);

/* ---- Guard ---- */

/* What happens to a request whose value tag is not the one that its operation requires. */
enum {
    IPP_BAD_TAG_END = 0,   /* print the failed check on standard error and end the process */
    IPP_BAD_TAG_REFUSE = 1 /* print the same line, answer with a failure and continue */
};

/* Limits that the host sets on the use of its resources by the network. All zero: no limits.
 *
 * The record may grow at its end. ipp_set_guard tells the library the size that the host was
 * compiled with: what an older host does not know is zero. */
typedef struct IppGuard {
    /* IPP_BAD_TAG_END or IPP_BAD_TAG_REFUSE. */
    int on_bad_tag;
    /* Bytes, header and checksum included: a connection that announces a longer frame is dropped.
     * Every request has at least 72. 0: no limit. */
    uint32_t max_frame_length;
    /* At most so many connections at a time; further ones are closed at once. 0: no limit. */
    uint32_t max_ctrlpoints;
    /* Milliseconds. A connection that accepts no byte for this long while something is sent to it
     * is dropped; one that fetches a capture is dropped after twice this time at the latest.
     * Several connections that stall during the same event delay it together, not one after the
     * other. 0: never. */
    uint32_t send_stall_ms;
    /* Milliseconds that a screen capture waits for its phone, at most; with a limit it also serves
     * only the address that requested it. 0: no limit, and any address is served, also one that
     * admit refuses. */
    uint32_t bulk_accept_ms;
    /* At most so many screen captures at a time that wait for their phone or are being sent; a
     * further request is answered with port 0. 0: no limit. */
    uint32_t max_captures;
    /* Milliseconds after which ipp_init, which tries every 10, fails when the control port is still
     * taken. When the search port is, ipp_init succeeds, and this run answers no searches, after a
     * line. 0: never. */
    uint32_t bind_wait_ms;
    /* Decides whether a peer may connect to the control port and have its searches answered:
     * non-zero admits. Null admits every peer. peer_addr is in network byte order. Called on the
     * server thread or the discovery thread, possibly on both at once, with no lock held; while it
     * blocks, that thread serves no peer. */
    int (*admit)(uint32_t peer_addr, void *context);
    /* Passed to admit. A call may be under way while the guard changes, so both must stay valid
     * until ipp_finish has returned. */
    void *admit_context;
    /* At most so many answers to searches wait at a time, side by side, each for its own random
     * delay; values above 1,024 count as 1,024. A source address has one of these places: its
     * further searches until the answer is sent are not answered, nor are searches of other
     * addresses while no place is free. Such searches print the two lines of every search that is
     * recognised, admit is not asked about them, and they may be repeated. No delay is below 0.1 s,
     * so at most ten times as many answers are sent a second, also to a neighbour that forges its
     * addresses. Answers that still wait when the service stops are dropped. 0: one answer after
     * the other, in order of arrival, each after its own delay: one neighbour's flood then hides
     * the television. */
    uint32_t max_search_answers;
    /* Bytes. What a connection does not take at once is kept and sent when it has room, so that no
     * reply and no event waits for another peer, and tcp_sendback succeeds. A connection may keep
     * one frame of any length, and so many bytes after it; all together at most four times as many.
     * Whoever would keep more is dropped, with ENOBUFS in its line, as is a connection that accepts
     * no byte for send_stall_ms. A thread of its own compresses a list of more than 256 KiB, one at
     * a time, so that no request waits for it; its reply keeps its place among those to its phone.
     * Frames that are kept are dropped when the service stops. 0: senders wait. */
    uint32_t send_backlog_bytes;
    /* Milliseconds. A slot that runs for this long is told once, while it still runs: a line, and
     * the observer's slot_is_slow. 0: never. */
    uint32_t slot_warn_ms;
} IppGuard;

/* Limits for a television in production; add an admit function where the owner decides which peers
 * may connect. */
#define IPP_GUARD_RECOMMENDED                                                                      \
    {                                                                                              \
        IPP_BAD_TAG_REFUSE, 1048576u, 64u, 2000u, 15000u, 8u, 2000u, NULL, NULL, 32u, 8388608u,    \
            1000u                                                                                  \
    }

/* Sets the guard: the record is copied; null removes all limits. 0, or -1 for an unknown
 * on_bad_tag, and then nothing changes. Call it before ipp_init. A later call takes effect at once,
 * with these exceptions: existing connections and waiting answers stay, a capture that has been
 * requested keeps its bulk_accept_ms and send_stall_ms, and a waiting ipp_init keeps its
 * bind_wait_ms. Any thread, also inside admit; never blocks. */
TVLINK_API int(ipp_set_guard)(const IppGuard *guard);

/* The same with the size of the host's version of the record; a host calls it by its short name. -1
 * also for a limit that a newer host has set and this library does not know. */
#define ipp_set_guard(guard) ipp_set_guard_sized((guard), sizeof(IppGuard))
TVLINK_API int ipp_set_guard_sized(const IppGuard *guard, size_t size);

/* ---- Diagnostics ---- */

enum {
    IPP_LOG_OUT = 1, /* what goes to standard output */
    IPP_LOG_ERR = 2, /* what goes to standard error */
    /* The service's own remarks; without a sink they go to standard error. */
    IPP_LOG_WARNING = 3
};

/* Bytes of lines that one thread keeps back while it holds a lock; further lines are dropped. */
#define IPP_LOG_BACKLOG_MAX 1048576

/* Takes the library's diagnostic lines. text is exactly what would have gone to the stream, newline
 * included, and is borrowed for the call. Called on any thread of the library or the host, possibly
 * on several at once, never with a lock of the library held: lines from under a lock are kept back
 * until it is released, at most IPP_LOG_BACKLOG_MAX bytes of them. */
typedef void (*IppLogSink)(int stream, const char *text, void *context);

/* Sends the diagnostic lines to sink; null sends them to the standard streams, the default. context
 * is passed on and must stay valid while the sink is set; a call of the former sink may still be
 * running when this returns. Any thread; never blocks.
 *
 * The standard streams are for development only. Every peer on the network can cause lines, at
 * least one for each datagram and for each frame that a full queue drops; a stream that is not read
 * blocks the thread that writes, with its locks held; and where the host has closed its descriptors
 * 0 to 2 without reopening them, the lines may go to a phone. */
TVLINK_API void ipp_set_log_sink(IppLogSink sink, void *context);

/* A sink that takes no line. While it is set no line is formatted, so lines cost nothing. */
TVLINK_API void ipp_log_discard(int stream, const char *text, void *context);

/* Turns dumps of messages in the diagnostics on (non-zero) or off (0, the default). Any thread;
 * never blocks. */
TVLINK_API void ipp_set_log_dumps(int on);

TVLINK_END

#endif
