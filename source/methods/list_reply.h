/* Replies that carry a list in compressed form. */
#pragma once

#include "methods/replies.h"

#include <stdint.h>

struct ListForm {
    uint16_t code;
    uint8_t tag;
    uint8_t empty_tag;
    uint8_t count_size;     /* bytes of what stands in front of the data: 2 or 4 */
    uint8_t max_bits;       /* of a code of the compression */
    const char *dump_label; /* null: the reply is not dumped */
};

/* Compresses the block that a slot has returned, sends it behind the counts and releases it. Null
 * and a block of length 0 are answered with the empty list. Returns 0, or -1 after that answer. */
int reply_list(CtrlPoint *cp, const ListForm *form, uint32_t counts, void *block);
