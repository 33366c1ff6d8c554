/* SPDX-License-Identifier: MIT */
/* Channel lists as M3U playlists.
 *
 *     #EXTM3U
 *     #EXTINF:-1 tvg-id="news.example" tvg-chno="1" group-title="Information",News
 *     http://streams.example/news
 *
 * Empty lines and other lines that begin with # are skipped. A channel without tvg-chno gets the
 * lowest free number. */
#ifndef TVLINK_SIM_PLAYLIST_H
#define TVLINK_SIM_PLAYLIST_H

#include <string>
#include <vector>

#include "channels.h"

namespace sim
{

/* Returns at least one channel, each with a unique number. Throws InputError. */
std::vector<Channel> parse_playlist(const std::string &text);

} // namespace sim

#endif
