/* SPDX-License-Identifier: MIT */
#include "methods/list_reply.h"

#include "base/block_header.h"
#include "base/detached_thread.h"
#include "base/outcome.h"
#include "link/send.h"
#include "tvlink/dump.h"
#include "tvlink/frame.h"
#include "tvlink/lzw.h"

#include <stdlib.h>

/* Compressing a longer one takes milliseconds, in which every request would wait. */
static const uint32_t LONG_LIST = 256 * 1024;

namespace
{

struct List {
    uint16_t code;
    ListForm form;
    uint32_t counts;
    void *block; /* of the host, owned */
    const char *dump_label;
};

/* For the list thread, of which there is at most one. */
struct ListJob {
    List list;
    ReservedPlace place;
};

} // namespace

/* A whole word: some processors exchange nothing smaller without a library. */
static uint32_t thread_runs = 0;

/* ---- The payload */

static void put_counts(PayloadBuilder *payload, const List *list)
{
    if (list->form.count_size == 2) {
        put_u16(payload, static_cast<uint16_t>(list->counts));
    } else {
        put_u32(payload, list->counts);
    }
}

static PayloadBuilder payload_of_packed(const List *list, const void *packed)
{
    const uint64_t size = uint64_t{block_count(packed)} + list->form.count_size;
    PayloadBuilder payload = payload_begin_value(list->code, list->form.tag, size + 4);
    put_u32(&payload, static_cast<uint32_t>(size));
    put_counts(&payload, list);
    put_bytes(&payload, packed, block_count(packed));
    if (list->dump_label != nullptr && payload.bytes != nullptr) {
        LOGBuffer(payload.bytes, static_cast<int>(payload.size), list->dump_label);
    }
    return payload;
}

static uint32_t length_of(const List *list)
{
    return list->block == nullptr ? 0 : block_count(list->block);
}

/* Without bytes when the list is empty or memory out. Frees the block. */
static PayloadBuilder pack(List *list)
{
    void *packed = length_of(list) == 0 ? nullptr : lzw_encode(list->block, list->form.max_bits);
    block_free(list->block);
    list->block = nullptr;
    const PayloadBuilder payload =
        packed == nullptr ? PayloadBuilder{nullptr, 0, 0} : payload_of_packed(list, packed);
    block_free(packed);
    return payload;
}

static PayloadBuilder pack_or_empty(List *list)
{
    const PayloadBuilder payload = pack(list);
    return payload.bytes != nullptr ? payload
                                    : payload_begin_value(list->code, list->form.empty_tag, 4);
}

PayloadBuilder list_payload(uint16_t code, ListForm form, uint32_t counts, void *block)
{
    List list = {code, form, counts, block, nullptr};
    return pack_or_empty(&list);
}

/* ---- Long lists */

static void *list_thread(void *argument)
{
    ListJob *job = static_cast<ListJob *>(argument);
    PayloadBuilder payload = pack_or_empty(&job->list);
    send_reserved(&job->place, payload_frame(&payload, FRAME_GET_REPLY));
    payload_free(&payload);
    free(job);
    __atomic_store_n(&thread_runs, 0, __ATOMIC_RELEASE);
    return nullptr;
}

static bool start_job(ListJob *job)
{
    pthread_t thread;
    if (detached_thread_start(&thread, list_thread, job) == 0) {
        return true;
    }
    send_reserved(&job->place, {nullptr, 0});
    return false;
}

/* False: nothing has been done. */
static bool leave_to_thread(CtrlPoint *cp, const List *list)
{
    if (length_of(list) <= LONG_LIST ||
        __atomic_exchange_n(&thread_runs, 1, __ATOMIC_ACQ_REL) != 0) {
        return false;
    }
    ListJob *job = static_cast<ListJob *>(malloc(sizeof *job));
    if (job != nullptr) {
        job->list = *list;
        if (send_reserve(cp, &job->place) && start_job(job)) {
            return true;
        }
    }
    free(job);
    __atomic_store_n(&thread_runs, 0, __ATOMIC_RELEASE);
    return false;
}

int reply_list(CtrlPoint *cp, RequestReader *args, ListForm form, uint32_t counts, void *block,
               const char *dump_label)
{
    outcome_answer(block == nullptr || block_count(block) == 0 ? -1 : 0);
    request_release(args);
    List list = {args->code, form, counts, block, dump_label};
    if (leave_to_thread(cp, &list)) {
        outcome_replied();
        return reply_nothing(args);
    }
    PayloadBuilder payload = pack(&list);
    return reply_payload(cp, &payload, FRAME_GET_REPLY) == 0
               ? reply_nothing(args)
               : reply_empty_list(cp, args, form.empty_tag);
}
