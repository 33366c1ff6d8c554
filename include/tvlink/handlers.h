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

/* ---- Setters: 3-byte reply of frame type 8. They return 0, also when there was no slot to call,
 * and -1 for a refused request. */

TVLINK_API int handle_set_tv_channel(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_volume(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_key(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_textpair(CtrlPoint *cp, uint8_t *request, int32_t length);

/* No method code reaches the rest of the setters. */
TVLINK_API int handle_set_tv_mode(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_powermode(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_mute(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_touch(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_searchchannel(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_bind(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_showphone(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_voddetails(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_wifiinfo(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_int3(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_action1(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_action2(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Sends no reply. */
TVLINK_API int handle_set_tv_mouse(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Also makes the name the television's own, whatever the slot returns. */
TVLINK_API int handle_set_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Always replies 0; the slot's result is written into byte 3 of the request instead. */
TVLINK_API int handle_set_tv_loginfromtv(CtrlPoint *cp, uint8_t *request, int32_t length);

/* An empty text or a value of 0 calls no slot and is answered with 0; the reply's code is fixed. */
TVLINK_API int handle_set_tv_code3001(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code0115(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code0116(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_set_tv_code0117(CtrlPoint *cp, uint8_t *request, int32_t length);

/* ---- Get handlers: reply of frame type 6. 0, or -1 after the empty reply or silence. */

TVLINK_API int handle_get_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length);
TVLINK_API int handle_get_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length);

/* Silent when the slot or the table is not there. */
TVLINK_API int handle_get_tv_text(CtrlPoint *cp, uint8_t *request, int32_t length);

/* The device information: seven attributes. Silent without a table or when memory is out. */
TVLINK_API int handle_get_device_info(CtrlPoint *cp);

TVLINK_END

#endif
