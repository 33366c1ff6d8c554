#include "methods/list_reply.h"

#include "base/block_header.h"
#include "tvlink/dump.h"
#include "tvlink/lzw.h"

static void put_counts(PayloadBuilder *reply, const ListForm *form, uint32_t counts)
{
    if (form->count_size == 2) {
        put_u16(reply, static_cast<uint16_t>(counts));
    } else {
        put_u32(reply, counts);
    }
}

static int send_list(CtrlPoint *cp, const ListForm *form, uint32_t counts, const void *packed)
{
    const uint64_t size = uint64_t{block_count(packed)} + form->count_size;
    PayloadBuilder reply = payload_begin_value(form->code, form->tag, size + 4);
    put_u32(&reply, static_cast<uint32_t>(size));
    put_counts(&reply, form, counts);
    put_bytes(&reply, packed, block_count(packed));
    if (form->dump_label != nullptr && reply.bytes != nullptr) {
        LOGBuffer(reply.bytes, static_cast<int>(reply.size), form->dump_label);
    }
    return reply_send(cp, &reply) == 0 ? 0 : reply_empty_list(cp, form->code, form->empty_tag);
}

int reply_list(CtrlPoint *cp, const ListForm *form, uint32_t counts, void *block)
{
    void *packed = nullptr;
    if (block != nullptr && block_count(block) > 0) {
        packed = lzw_encode(block, form->max_bits);
    }
    block_free(block);
    const int result = packed == nullptr ? reply_empty_list(cp, form->code, form->empty_tag)
                                         : send_list(cp, form, counts, packed);
    block_free(packed);
    return result;
}
