#include "methods/list_reply.h"

#include "base/block_header.h"
#include "tvlink/dump.h"
#include "tvlink/frame.h"
#include "tvlink/lzw.h"

static void put_counts(PayloadBuilder *payload, ListForm form, uint32_t counts)
{
    if (form.count_size == 2) {
        put_u16(payload, static_cast<uint16_t>(counts));
    } else {
        put_u32(payload, counts);
    }
}

static int send_list(CtrlPoint *cp, RequestReader *args, ListForm form, uint32_t counts,
                     const void *packed, const char *dump_label)
{
    const uint64_t size = uint64_t{block_count(packed)} + form.count_size;
    PayloadBuilder payload = payload_begin_value(args->code, form.tag, size + 4);
    put_u32(&payload, static_cast<uint32_t>(size));
    put_counts(&payload, form, counts);
    put_bytes(&payload, packed, block_count(packed));
    if (dump_label != nullptr && payload.bytes != nullptr) {
        LOGBuffer(payload.bytes, static_cast<int>(payload.size), dump_label);
    }
    return reply_payload(cp, &payload, FRAME_GET_REPLY) == 0
               ? reply_nothing(args)
               : reply_empty_list(cp, args, form.empty_tag);
}

int reply_list(CtrlPoint *cp, RequestReader *args, ListForm form, uint32_t counts, void *block,
               const char *dump_label)
{
    request_release(args);
    void *packed = nullptr;
    if (block != nullptr && block_count(block) > 0) {
        packed = lzw_encode(block, form.max_bits);
    }
    block_free(block);
    const int result = packed == nullptr ? reply_empty_list(cp, args, form.empty_tag)
                                         : send_list(cp, args, form, counts, packed, dump_label);
    block_free(packed);
    return result;
}
