/* SPDX-License-Identifier: MIT */
#include "tvlink/host/slot_report.h"

#include "methods/method_table.h"

#include <stddef.h>
#include <string.h>

/* In the order of the operations. */
static const IppSlotInfo SLOTS[] = {
#define OPERATION(family, kind, first, last, slot, name, lends, arguments, reply, refusal,         \
                  without_slot, summary)                                                           \
    {#name, "handle_" #name, #family, summary, slot, IPP_REACH_##kind, first, last, 0},
#define RESERVED(slot)                                                                             \
    {"reserved_" #slot, nullptr, nullptr, nullptr, slot, IPP_REACH_NEVER, 0, 0, 0},
#include "protocol/operations.def"
};

static const uint32_t SLOT_COUNT = sizeof SLOTS / sizeof SLOTS[0];
static_assert(sizeof(TvMethodTable) == SLOT_COUNT * sizeof(void (*)(void)), "every slot once");

static IppSlotInfo slot_with(uint32_t number)
{
    uint32_t place = 0;
    while (SLOTS[place].number != number) {
        place++;
    }
    return SLOTS[place];
}

static bool is_filled(const TvMethodTable *table, uint32_t number)
{
    void (*function)(void) = nullptr;
    const size_t size = sizeof function;
    memcpy(&function, reinterpret_cast<const uint8_t *>(table) + number * size, size);
    return function != nullptr;
}

void ipp_slot_report(void (*report)(const IppSlotInfo *slot, void *context), void *context)
{
    const TvMethodTable *table = host_methods();
    for (uint32_t number = 0; number < SLOT_COUNT; number++) {
        IppSlotInfo slot = slot_with(number);
        slot.filled = is_filled(table, number) ? 1 : 0;
        report(&slot, context);
    }
}
