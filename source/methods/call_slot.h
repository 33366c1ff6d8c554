/* SPDX-License-Identifier: MIT */
/* How a handler calls a slot of the host's table, which may be null. */
#pragma once

#include "base/outcome.h"
#include "methods/method_table.h"

/* What a setter sends when there was no slot to call. */
enum { NO_SLOT = -1 };

/* The slot that a handler may call; null when the host has left it null, when no table is
 * registered, and when the request was bad. Looked up once for each request: the host may replace
 * its table meanwhile. */
template <typename Slot> Slot slot_of(const RequestReader *args, Slot TvMethodTable::*slot)
{
    const Slot function = host_methods(args)->*slot;
    if (function == nullptr) {
        outcome_refuse(IPP_REASON_NO_SLOT);
    }
    return function;
}

/* The slot's result, or `otherwise` when there is no slot to call. */
template <typename Result, typename Otherwise, typename... Parameters, typename... Values>
Result call_slot(const RequestReader *args, Result (*TvMethodTable::*slot)(Parameters...),
                 Otherwise otherwise, Values... values)
{
    Result (*const function)(Parameters...) = slot_of(args, slot);
    return function != nullptr ? function(values...) : otherwise;
}
