/* SPDX-License-Identifier: MIT */
#include "methods/method_table.h"

#include "base/sized_record.h"

#include <stddef.h>

/* The order of the slots is what hosts rely on. */
static constexpr size_t slot_offset(size_t number)
{
    return number * sizeof(void (*)(void));
}

#define OPERATION(family, kind, first, last, slot, name, ...)                                      \
    static_assert(offsetof(TvMethodTable, name) == slot_offset(slot), #name);
#define RESERVED(slot) static_assert(offsetof(TvMethodTable, reserved_##slot) == slot_offset(slot));
#include "protocol/operations.def"

enum {
#define OPERATION(family, kind, first, last, slot, name, ...) SLOT_COUNTED_##name,
#define RESERVED(slot) SLOT_COUNTED_##slot,
#include "protocol/operations.def"
    SLOTS_LISTED
};
static_assert(sizeof(TvMethodTable) == slot_offset(SLOTS_LISTED), "every slot is in the list");

const TvMethodTable *g_tv_method = nullptr;
int (*tv_ippRpcFunSet)(char *answer, const char *request) = nullptr;

static const TvMethodTable NO_METHODS = {};

/* What stands for the record of an older host, which is shorter. */
static TvMethodTable longer = {};

const TvMethodTable *register_tv_method_sized(const TvMethodTable *table, size_t size)
{
    if (table == nullptr || size == sizeof longer) {
        return (register_tv_method)(table);
    }
    TvMethodTable known = {};
    if (!sized_record_take(&known, sizeof known, table, size)) {
        return nullptr;
    }
    if (size > sizeof longer) {
        return (register_tv_method)(table);
    }
    longer = known;
    (register_tv_method)(&longer);
    return table;
}

const TvMethodTable *(register_tv_method)(const TvMethodTable *table)
{
    __atomic_store_n(&g_tv_method, table, __ATOMIC_RELEASE);
    return table;
}

const TvMethodTable *registered_methods()
{
    return __atomic_load_n(&g_tv_method, __ATOMIC_ACQUIRE);
}

const TvMethodTable *host_methods()
{
    const TvMethodTable *table = registered_methods();
    return table == nullptr ? &NO_METHODS : table;
}

const TvMethodTable *host_methods(const RequestReader *args)
{
    return args->failed ? &NO_METHODS : host_methods();
}

int tv_opt()
{
    return 0;
}

int tv_finish()
{
    return 0;
}
