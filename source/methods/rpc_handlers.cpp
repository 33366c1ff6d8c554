/* SPDX-License-Identifier: MIT */
/* String calls, which a function of the host answers. */

#include "methods/handler_shapes.h"
#include "tvlink.h"
#include "tvlink/frame.h"
#include "tvlink/string_rpc.h"

static const int NO_MEMORY = -10;
static const int NO_ANSWER = -11;

static bool ask_host(char *answer, const char *request)
{
    int (*const function)(char *, const char *) =
        __atomic_load_n(&tv_ippRpcFunSet, __ATOMIC_ACQUIRE);
    if (function == nullptr) {
        outcome_refuse(IPP_REASON_NO_SLOT);
        return false;
    }
    if (function(answer, request) != 1) {
        outcome_refuse(IPP_REASON_DECLINED);
        return false;
    }
    return true;
}

/* One byte longer than its fields; the receiver goes by the length field. */
static int send_answer(CtrlPoint *cp, uint16_t code, const char *answer)
{
    PayloadBuilder payload = payload_begin(uint64_t{4} + text_size(answer));
    put_u16(&payload, code);
    put_u8(&payload, 1);
    put_text(&payload, answer);
    return reply_payload(cp, &payload, FRAME_RPC_REPLY) == 0 ? 1 : NO_MEMORY;
}

int handle_methodString(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    RequestReader args = get_request(body, length, 4, REPLY_CODE.methodString);
    const HeapText request = read_text(&args);
    if (args.failed) {
        return args.out_of_memory ? NO_MEMORY : -1;
    }
    char answer[IPP_RPC_ANSWER_SIZE + 1] = {}; /* ends in zero, however much the host writes */
    const bool answered = ask_host(answer, request.chars);
    request_release(&args);
    return answered ? send_answer(cp, args.code, answer) : NO_ANSWER;
}
