/* SPDX-License-Identifier: MIT */
/* The handlers: one for each operation.
 *
 * All take the control point that asks (a request item, a listed record or a host's own), the
 * request (a frame body from its byte 1 on) and the request's length; each decodes its arguments,
 * calls one slot of the method table and sends one reply. They borrow everything. Handlers that a
 * method code reaches run on the request worker; a host may call any of them on its own threads and
 * then brings its own locking for its slots. They block for as long as their slot and the send of
 * their reply do.
 *
 * A request that is shorter than its fields claim, or a text that does not fit its buffer, calls no
 * slot and gets the handler's failure form: the method code and 0xFF from a setter, the empty reply
 * (1 and the method code) from a get handler. So do a wrong value tag, where the guard refuses it,
 * and a slot or a table that is not there. A request that ends before its method code gets
 * nothing, unless the handler looks at no byte of it. */
#ifndef TVLINK_HANDLERS_H
#define TVLINK_HANDLERS_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

TVLINK_BEGIN

/* Setters (handle_set_) send a 3-byte reply of frame type 8 and return 0, also when there was no
 * slot to call, or -1 for a refused request. Get handlers send a reply of frame type 6 and return
 * 0, or -1 after the empty reply or silence. What differs stands beside the handler. The families
 * are those of protocol.json. */

/* ---- Keys, steps, modes, pointer, switches and typed text. */

TVLINK_API int handle_set_tv_channel(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_key(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_volume(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_textpair(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Silent without its slot. */
TVLINK_API int handle_get_tv_text(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_set_tv_mode(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_powermode(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_mute(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Sends no reply. */
TVLINK_API int handle_set_tv_mouse(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_set_tv_touch(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_searchchannel(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_int3(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_action1(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_action2(CtrlPoint *cp, uint8_t *request, int32_t length);

/* These four: an empty text or a value of 0 calls no slot and is answered with 0; the reply's code
 * is fixed. */
TVLINK_API int handle_set_tv_code0115(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code0116(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code0117(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code3001(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Names, versions and single states. */

/* The device information: seven attributes. Silent without a table or when memory is out. */
TVLINK_API int handle_get_device_info(CtrlPoint *cp);

/* The name that the library keeps; it needs no slot. */
TVLINK_API int handle_get_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Also makes the name the television's own, whatever the slot returns. */
TVLINK_API int handle_set_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_get_europe_version(CtrlPoint *cp, uint8_t *request, int32_t length);

/* These four are silent without their slot. */
TVLINK_API int handle_get_tv_code0001(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code0105(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code010e(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code2005(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Programme guide and channel lists. */

/* Lists are compressed on the calling thread. Their empty reply is 1, the method code, a tag and a
 * length of 0. This one is silent without its slot. */
TVLINK_API int handle_get_tv_epg(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_get_tv_simpleepg(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_epgweek(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_searchsimpleepg(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_channelcode(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_channelcode2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_channelcode3(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Media player. */

/* These three are silent without their slot. */
TVLINK_API int handle_get_play_status(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_play_position(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_play_duration(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_seek(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_volume(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Silent, and -1, when there is no memory for the address. */
TVLINK_API int handle_set_play_addr(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Reserved: reads nothing, calls nothing, sends nothing, returns 0. */
TVLINK_API int handle_set_play_speed(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_set_play_start(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_pause(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_stop(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_operation(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_play_addr2(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Video on demand. */

TVLINK_API int handle_get_tv_vodstr(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodstr2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodstatus(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodstatus2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodintarray(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodintarray2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodarraystring(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodarraystring2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodplayer(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_vodplayer_v2(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_startplayer(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_metadata(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_voddetails(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Silent, and -1, for a tag that names no kind of value. */
TVLINK_API int handle_set_tv_vod(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_set_tv_vod_vt_int(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_vod_vt_str(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_vod_vt_long(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Settings, applications, place and text queries. */

TVLINK_API int handle_get_tv_installapklist(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_currentposition(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Replies as a get handler does, with the text that the slot writes. */
TVLINK_API int handle_set_tv_setting_mtnadata(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_API int handle_get_tv_code400a(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code400b(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code400c(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code400d(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_code4015(CtrlPoint *cp, uint8_t *request, int32_t length);

/* These two reply as a get handler does: frame type 6, the slot's result sent whole. */
TVLINK_API int handle_set_tv_install_apklist(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_current_position(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_wifiinfo(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Always replies 0, once the slot has returned. */
TVLINK_API int handle_set_tv_shut_down(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Phones, accounts and voice. */

TVLINK_API int handle_set_tv_bind(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_showphone(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_show_phone_connect(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Replies as a get handler does: frame type 6, the slot's result sent whole. */
TVLINK_API int handle_set_tv_nick_name(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Always replies 0; the slot's result is written into byte 3 of the request instead. */
TVLINK_API int handle_set_tv_loginfromtv(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Sends nothing when the slot accepts the voice. */
TVLINK_API int handle_tv_sendvoice(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Capture of the screen. */

/* Replies with the port of a bulk transfer (tvlink/bulk.h), 0 when there is none. Silent without
 * its slot. */
TVLINK_API int handle_get_screen_shot2(CtrlPoint *cp, uint8_t *request, int32_t length);

TVLINK_END

#endif
