/* SPDX-License-Identifier: MIT */
/* A stream of bytes on a control connection, which arrives in pieces. A plain model of the
 * splitting must agree with the library; and unless a frame announces a length of 0 or one that the
 * guard forbids, the result must not depend on how the stream is divided.
 *
 * Input: the guard's maximal frame length (0 to 255 times 16), the number of cuts, the size of each
 * piece, the stream.
 *
 * Under test: source/link/receive.cpp source/link/connection.cpp source/wire/frame.cpp
 * source/link/work_queues.cpp source/link/queue.cpp */
#include "link/connection.h"
#include "link/registry.h"
#include "link/work_queues.h"
#include "support/fuzz_input.h"
#include "tvlink.h"
#include "tvlink/receive.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Bytes = std::vector<uint8_t>;

struct Script {
    uint32_t max_frame; /* 0: unlimited */
    std::vector<Bytes> pieces;
};

struct Outcome {
    std::vector<Bytes> requests; /* bodies */
    size_t heartbeats = 0;
    size_t left = 0; /* bytes of an incomplete frame, unless the connection is dropped */
    bool dropped = false;
    bool cut_matters = false; /* the result depends on how the stream is divided */
};

const uint32_t QUEUE_CAPACITY = 4096; /* more than an input can fill */

} // namespace

/* ---- The model */

static size_t announced(const Bytes &stream)
{
    return stream[3] | static_cast<size_t>(stream[4]) << 8 | static_cast<size_t>(stream[5]) << 16 |
           static_cast<size_t>(stream[6]) << 24;
}

static void model_frame(const Bytes &frame, Outcome *outcome)
{
    if (frame.size() < 72 || frame[0] != 0xA5 || frame[1] != 0xA5) {
        return;
    }
    if (frame[50] == 0xEE) {
        outcome->heartbeats++;
    } else {
        outcome->requests.emplace_back(frame.begin() + 50, frame.end() - 21);
    }
}

static void model_split(Bytes *stream, uint32_t max_frame, Outcome *outcome)
{
    while (stream->size() >= 7) {
        const size_t size = announced(*stream);
        if (max_frame != 0 && size > max_frame) {
            outcome->dropped = true;
            return;
        }
        if (size == 0) {
            outcome->cut_matters = true;
            stream->clear();
            return;
        }
        if (size > stream->size()) {
            return;
        }
        const auto end = stream->begin() + static_cast<ptrdiff_t>(size);
        model_frame(Bytes(stream->begin(), end), outcome);
        stream->erase(stream->begin(), end);
    }
}

static Outcome model(const Script &script)
{
    Outcome outcome;
    Bytes stream;
    for (const Bytes &piece : script.pieces) {
        stream.insert(stream.end(), piece.begin(), piece.end());
        model_split(&stream, script.max_frame, &outcome);
        if (outcome.dropped) {
            return outcome;
        }
    }
    outcome.left = stream.size();
    return outcome;
}

/* ---- The library */

static void make_queues()
{
    if (devCallBackQueue == nullptr) {
        devCallBackQueue = newQueue(QUEUE_CAPACITY);
        heartBeatFeedbackQueue = newQueue(QUEUE_CAPACITY);
        sem_init(&devCallBackSem, 0, 0);
        sem_init(&heartBeatFeedbackSem, 0, 0);
    }
}

/* A listed record as accept makes it, with the reference that the server thread holds to receive.
 */
static CtrlPoint *connect_phone(int *phone)
{
    int ends[2];
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    CtrlPoint *record = static_cast<CtrlPoint *>(calloc(1, sizeof *record));
    record->fd = ends[0];
    pthread_mutex_init(&record->send_lock, nullptr);
    *phone = ends[1];
    registry_lock();
    list_insert(&g_cp_list, record);
    connection_register(record);
    connection_acquire(record);
    registry_unlock();
    return record;
}

static bool is_listed()
{
    registry_lock();
    const bool listed = g_cp_list.count != 0;
    registry_unlock();
    return listed;
}

static CtrlPoint *next_item(const WorkQueue &work)
{
    int count = 0;
    sem_getvalue(work.items, &count);
    return count == 0 ? nullptr : static_cast<CtrlPoint *>(work_queue_wait(&work));
}

static void take_items(Outcome *outcome)
{
    while (CtrlPoint *item = next_item(REQUEST_QUEUE)) {
        outcome->requests.emplace_back(item->rx_buf, item->rx_buf + item->rx_cap);
        free(item->rx_buf);
        free(item);
    }
    while (CtrlPoint *item = next_item(HEARTBEAT_QUEUE)) {
        outcome->heartbeats++;
        free(item);
    }
}

static void receive_piece(CtrlPoint *record, int phone, const Bytes &piece)
{
    if (piece.empty()) {
        return;
    }
    must(write(phone, piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()),
         "the socket takes a piece");
    receive_ctrlpoint_packet(record);
    must(record->rx_pos <= record->rx_fill && record->rx_fill <= record->rx_cap,
         "the buffer's marks are in order");
}

static Outcome library(const Script &script)
{
    IppGuard guard = {};
    guard.max_frame_length = script.max_frame;
    ipp_set_guard(&guard);
    Outcome outcome;
    int phone = -1;
    CtrlPoint *record = connect_phone(&phone);
    for (const Bytes &piece : script.pieces) {
        receive_piece(record, phone, piece);
        if (!is_listed()) {
            break;
        }
    }
    outcome.dropped = !is_listed();
    outcome.left = outcome.dropped ? 0 : record->rx_fill - record->rx_pos;
    registry_remove(record);
    take_items(&outcome);
    connection_release({connection_acquire(record).place, record});
    close(phone);
    ipp_set_guard(nullptr);
    return outcome;
}

/* ---- The input */

static Script read_script(FuzzInput input)
{
    Script script;
    script.max_frame = fuzz_u8(&input) * 16U;
    FuzzInput sizes = fuzz_part(&input, fuzz_u8(&input));
    while (sizes.left > 0) {
        const FuzzInput piece = fuzz_part(&input, fuzz_u8(&sizes));
        script.pieces.emplace_back(piece.at, piece.at + piece.left);
    }
    script.pieces.emplace_back(input.at, input.at + input.left);
    return script;
}

static Script in_one_piece(const Script &script)
{
    Script whole = {script.max_frame, {{}}};
    for (const Bytes &piece : script.pieces) {
        whole.pieces[0].insert(whole.pieces[0].end(), piece.begin(), piece.end());
    }
    return whole;
}

static void must_agree(const Outcome &one, const Outcome &other, const char *invariant)
{
    must(one.requests == other.requests && one.heartbeats == other.heartbeats &&
             one.left == other.left && one.dropped == other.dropped,
         invariant);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_silence_log();
    make_queues();
    const Script script = read_script({data, size});
    const Outcome cut = library(script);
    must_agree(cut, model(script), "library and model see the same frames");
    const Script whole = in_one_piece(script);
    const Outcome expected = model(whole);
    if (!expected.cut_matters && !expected.dropped) {
        must_agree(cut, expected, "the cuts do not matter");
    }
    return 0;
}
