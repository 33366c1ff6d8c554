/* SPDX-License-Identifier: MIT */
/* Requests with arbitrary bodies to a host with adversarial answers. A reply must be one complete
 * frame that the control point can decode; lists must expand to the block that the host returned.
 *
 * Input: flags (below), the number of a slot that is null, the number of the host's answers, the
 * answers, then requests: length in 2 bytes, body. A first byte of the body that is no frame type
 * chooses one of the handlers that no method code reaches.
 *
 * Under test: source/methods/ source/wire/request_reader.cpp source/wire/payload_builder.cpp
 * source/transfer/bulk.cpp source/link/send.cpp */
#include "base/identity.h"
#include "support/fuzz_input.h"
#include "support/nasty_host.h"
#include "support/quiet_system.h"
#include "support/system_calls.h"

#include "controlpoint.h"
#include "controlpoint_lists.h"
#include "tvlink.h"
#include "tvlink/frame.h"
#include "tvlink/handlers.h"
#include "tvlink/router.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace
{

enum {
    WITHOUT_TABLE = 1,
    WITHOUT_RPC = 2,
    SENDS_IN_PARTS = 4,
    SENDS_FAIL = 8,
    WITH_DUMPS = 16,
    BULK_WITHOUT_PHONE = 32,
    THREADS_FAIL = 64,
};

const size_t MAX_REQUESTS = 8;

using Bytes = std::vector<uint8_t>;

struct Phone {
    uint8_t flags;
    Bytes received;
    void *(*bulk)(void *);
    void *bulk_job;
};

Phone phone;

using Handler = int (*)(CtrlPoint *, uint8_t *, int32_t);

/* The handlers that no method code reaches. */
const Handler UNROUTED[] = {
#define HANDLER_GET(name)
#define HANDLER_SET(name)
#define HANDLER_INFO(name)
#define HANDLER_DIRECT(name) handle_##name,
#define OPERATION(family, kind, first, last, slot, name, ...) HANDLER_##kind(name)
#include "protocol/operations.def"
};

} // namespace

/* ---- The phone */

static ssize_t receive(int, const void *data, size_t size, int)
{
    if ((phone.flags & SENDS_FAIL) != 0) {
        errno = EPIPE;
        return -1;
    }
    const size_t part = 1U + nasty_host_u8();
    const size_t taken = (phone.flags & SENDS_IN_PARTS) != 0 ? std::min(size, part) : size;
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    phone.received.insert(phone.received.end(), bytes, bytes + taken);
    return static_cast<ssize_t>(taken);
}

/* The bulk thread is run after its request has been answered. */
static int keep_thread(pthread_t *thread, const pthread_attr_t *, void *(*body)(void *),
                       void *argument)
{
    *thread = pthread_self();
    if ((phone.flags & THREADS_FAIL) != 0) {
        return EAGAIN;
    }
    phone.bulk = body;
    phone.bulk_job = argument;
    return 0;
}

static int connect_for_bulk(int, sockaddr *, socklen_t *, int)
{
    if ((phone.flags & BULK_WITHOUT_PHONE) == 0) {
        return open("/dev/null", O_WRONLY | O_CLOEXEC);
    }
    errno = EINVAL;
    return -1;
}

static void run_bulk()
{
    if (phone.bulk == nullptr) {
        return;
    }
    phone.received.clear();
    phone.bulk(phone.bulk_job);
    phone.bulk = nullptr;
    if ((phone.flags & (BULK_WITHOUT_PHONE | SENDS_FAIL)) != 0) {
        must(phone.received.empty(), "without a phone nothing is sent");
        return;
    }
    const Bytes &image = nasty_host_image();
    Bytes expected(4);
    for (unsigned i = 0; i < 4; i++) {
        expected[i] = static_cast<uint8_t>(image.size() >> 8 * i);
    }
    expected.insert(expected.end(), image.begin(), image.end());
    must(phone.received == expected, "the image comes with its length in front");
}

/* ---- What was sent */

static void check_list(CpBytes payload)
{
    CpList list = {};
    if (cp_decode_list(payload, &list) != CP_OK || list.empty) {
        return;
    }
    const Bytes &block = nasty_host_list();
    CpBuffer expanded = {};
    must(cp_expand(list.packed, &expanded, block.size()) == CP_OK, "a list can be expanded");
    must(Bytes(expanded.data, expanded.data + expanded.size) == block, "to what the host gave");
    cp_buffer_free(&expanded);
}

static void check_get_reply(CpBytes payload, bool device_info)
{
    CpDeviceInfo info = {};
    CpGetReply reply = {};
    if (device_info) {
        must(cp_decode_device_info(payload, &info) == CP_OK && info.present == CP_INFO_ALL,
             "the device information can be read");
        return;
    }
    must(cp_decode_get_reply(payload, &reply) == CP_OK, "a get reply can be read");
    must(reply.extra.size == 0, "nothing is behind its value");
    check_list(payload);
}

static void check_frame(const CpFrame &frame, bool device_info)
{
    CpSetReply set = {};
    CpRpcReply rpc = {};
    switch (frame.type) {
    case CP_FRAME_GET_REPLY:
        check_get_reply(frame.payload, device_info);
        break;
    case CP_FRAME_SET_REPLY:
        must(cp_decode_set_reply(frame.payload, &set) == CP_OK, "a set reply can be read");
        break;
    case CP_FRAME_RPC_REPLY:
        must(cp_decode_rpc_reply(frame.payload, &rpc) == CP_OK, "an answer to a call can be read");
        must(rpc.extra.size == 1, "one byte is behind it");
        break;
    default:
        must(false, "a reply has the type of one");
    }
}

static void check_received(bool device_info)
{
    CpSplitter *splitter = cp_splitter_new(0);
    CpFrame frame = {};
    must(cp_splitter_feed(splitter, phone.received.data(), phone.received.size()) == CP_OK,
         "there is memory for a reply");
    if (!phone.received.empty()) {
        must(cp_splitter_next(splitter, &frame) == CP_OK, "a whole frame is sent");
        must(cp_splitter_pending(splitter) == 0, "and no more than one");
        check_frame(frame, device_info);
    }
    cp_splitter_free(splitter);
}

/* ---- One request */

static bool is_routed(uint8_t type)
{
    return type == FRAME_GET || type == FRAME_SET || type == FRAME_RPC || type == FRAME_NO_OP;
}

static void run_request(const FuzzInput &request)
{
    CtrlPoint cp = {};
    cp.fd = -1;
    pthread_mutex_init(&cp.send_lock, nullptr);
    const std::unique_ptr<uint8_t[]> body = fuzz_copy(request);
    const int32_t length = static_cast<int32_t>(request.left);
    phone.received.clear();
    if (is_routed(body[0])) {
        response_ctrlpoint_request(&cp, body.get(), length);
    } else {
        UNROUTED[body[0] % (sizeof UNROUTED / sizeof UNROUTED[0])](&cp, body.get() + 1, length - 1);
    }
    check_received(length > 1 && body[0] == FRAME_GET && body[1] == 0);
    run_bulk();
    pthread_mutex_destroy(&cp.send_lock);
}

static void begin(FuzzInput *input)
{
    IppGuard guard = {};
    guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
    fuzz_silence_log();
    ipp_set_guard(&guard);
    identity_set_name("name");
    identity_set_serial("serial");
    phone = {};
    phone.flags = fuzz_u8(input);
    const size_t left_out = fuzz_u8(input);
    const size_t answers = fuzz_u8(input);
    nasty_host_register(fuzz_part(input, answers), left_out);
    if ((phone.flags & WITHOUT_TABLE) != 0) {
        register_tv_method(nullptr);
    }
    tv_ippRpcFunSet = (phone.flags & WITHOUT_RPC) != 0 ? nullptr : nasty_host_rpc;
    ipp_set_log_dumps((phone.flags & WITH_DUMPS) != 0);
    quiet_system();
    replace<receive>(system_send);
    replace<connect_for_bulk>(system_accept4);
    replace<keep_thread>(system_pthread_create);
}

static void end()
{
    restore_system_calls();
    ipp_set_log_dumps(0);
    tv_ippRpcFunSet = nullptr;
    nasty_host_withdraw();
    phone = {};
    ipp_set_guard(nullptr);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input = {data, size};
    begin(&input);
    for (size_t i = 0; i < MAX_REQUESTS && input.left > 0; i++) {
        const size_t length = fuzz_u16(&input);
        const FuzzInput request = fuzz_part(&input, length);
        if (request.left > 0) {
            run_request(request);
        }
    }
    end();
    return 0;
}
