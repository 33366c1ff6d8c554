/* SPDX-License-Identifier: MIT */
#include "guide_push.h"

#include "host.h"
#include "list_blocks.h"
#include "tvlink/host/lists.h"

namespace sim
{

GuidePush push_guide()
{
    IppList list = read_state(
        [](const Television &tv) { return present_list(tv.channels, tv.guide, time_now()); });
    const uint32_t entries = list.entries;
    const int32_t phones = ipp_push_guide(&list);
    return {entries, phones < 0 ? 0 : static_cast<uint32_t>(phones)};
}

} // namespace sim
