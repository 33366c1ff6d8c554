/* SPDX-License-Identifier: MIT */
/* Channel lists as M3U playlists.
 *
 *     #EXTM3U
 *     #EXTINF:-1 tvg-id="news.example" tvg-chno="1" group-title="Information",News
 *     http://streams.example/news
 *
 * Of #EXTGRP the group is taken when there is no group-title. Empty lines and other lines that
 * begin with # are skipped. A channel without a usable tvg-chno gets the lowest free number, one
 * without a name its tvg-name or the last part of its address. */
#ifndef TVLINK_SIM_PLAYLIST_H
#define TVLINK_SIM_PLAYLIST_H

#include <string>
#include <vector>

#include "channels.h"
#include "faults.h"
#include "unzip.h"

namespace sim
{

struct ReadPlaylist {
    std::vector<Channel> channels; /* at least one, each with a unique number */
    std::vector<std::string>
        remarks; /* what was skipped or mended, a line for each kind of fault */
};

/* Throws InputError: a strict reading at the first fault, a lenient one without any channel. */
ReadPlaylist parse_playlist(const ReadBlock &read, Strictness strictness);

} // namespace sim

#endif
