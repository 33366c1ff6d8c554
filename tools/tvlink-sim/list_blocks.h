/* SPDX-License-Identifier: MIT */
/* The lists that the television sends, as docs/LISTS.md describes them byte by byte. */
#ifndef TVLINK_SIM_LIST_BLOCKS_H
#define TVLINK_SIM_LIST_BLOCKS_H

#include <cstdint>
#include <string>
#include <vector>

#include "channels.h"
#include "guide.h"
#include "tvlink/host/lists.h"

namespace sim
{

/* Entries beyond the library's limits of a list are left out. */
struct ListBlock {
    std::string bytes;
    uint32_t entries = 0;
    uint32_t channels = 0; /* how many channels the entries belong to */
};

/* Cells of fixed size for the channels whose name or group contains the text. */
ListBlock channel_cells(const std::vector<Channel> &channels, const std::string &text);
/* Numbers and names only. */
ListBlock short_channels(const std::vector<Channel> &channels);

struct GuideQuery {
    bool every_channel = true;
    uint32_t number = 0; /* the channel, unless every_channel */
    uint64_t ends_after = 0;
    uint64_t starts_from = 0;
    uint64_t starts_until = UINT64_MAX; /* exclusive */
};

ListBlock guide_entries(const std::vector<Channel> &channels, const Guide &guide,
                        const GuideQuery &query);
/* The present and the next programme of each channel, without descriptions. */
IppList present_list(const std::vector<Channel> &channels, const Guide &guide, uint32_t now);
ListBlock present_entries(const std::vector<Channel> &channels, const Guide &guide, uint32_t now);
/* The programmes whose title or category contains the text, without descriptions. */
ListBlock matching_entries(const std::vector<Channel> &channels, const Guide &guide,
                           const std::string &text);

/* The programmes that start within seven days from the day of `now` on (UTC). */
GuideQuery week_query(uint32_t number, uint32_t now);

} // namespace sim

#endif
