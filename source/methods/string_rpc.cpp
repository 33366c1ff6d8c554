#include "tvlink/string_rpc.h"

#include "methods/replies.h"
#include "tvlink.h"
#include "tvlink/frame.h"
#include "wire/request_reader.h"

#include <stdlib.h>

static const uint16_t CODE = 0x5004;
static const size_t ANSWER_SIZE = 2560;
static const int NO_MEMORY = -10;
static const int NO_ANSWER = -11;

static bool ask_host(char *answer, const char *request)
{
    int (*const function)(char *, const char *) =
        __atomic_load_n(&tv_ippRpcFunSet, __ATOMIC_ACQUIRE);
    return function != nullptr && function(answer, request) == 1;
}

/* One byte longer than its fields; the receiver goes by the length field. */
static int send_answer(CtrlPoint *cp, const char *answer)
{
    PayloadBuilder reply = payload_begin(uint64_t{4} + text_size(answer));
    put_u16(&reply, CODE);
    put_u8(&reply, 1);
    put_text(&reply, answer);
    return reply_send_as(cp, &reply, FRAME_RPC_REPLY) == 0 ? 1 : NO_MEMORY;
}

int handle_methodString(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    RequestReader args = get_request(body, length, 4);
    const RequestText text = read_text(&args);
    if (args.failed) {
        return -1;
    }
    char *request = copy_text(&text);
    if (request == nullptr) {
        return NO_MEMORY;
    }
    char answer[ANSWER_SIZE + 1] = {}; /* ends in zero, however much the host writes */
    const bool answered = ask_host(answer, request);
    free(request);
    return answered ? send_answer(cp, answer) : NO_ANSWER;
}
