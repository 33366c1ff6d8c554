/* SPDX-License-Identifier: MIT */
/* Replies that carry a list in compressed form. */
#pragma once

#include "methods/replies.h"
#include "protocol/operations.h"

#include <stdint.h>

struct ListForm {
    uint8_t tag;
    uint8_t empty_tag;
    uint8_t count_size; /* bytes of what stands in front of the data: 2 or 4 */
    uint8_t max_bits;   /* of a code of the compression */
};

constexpr ListForm list_form(const protocol::Operation &operation)
{
    return {operation.reply.tag, operation.reply.empty_tag, operation.reply.count_size,
            operation.reply.max_bits};
}

/* The payload of a list, of which it compresses and frees the block; an empty list's for null and a
 * block of length 0. Without bytes when memory is out. */
PayloadBuilder list_payload(uint16_t code, ListForm form, uint32_t counts, void *block);

/* Compresses the block that a slot has returned, sends it behind the counts and releases it. Null
 * and a block of length 0 are answered with the empty list. The whole reply is dumped under the
 * label unless that is null. A long list is left to a thread where the guard's send_backlog_bytes
 * allows it. Returns 0, also once the list is left to the thread, or -1 after the empty list. */
int reply_list(CtrlPoint *cp, RequestReader *args, ListForm form, uint32_t counts, void *block,
               const char *dump_label = nullptr);
