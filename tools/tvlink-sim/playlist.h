/* Channel lists as M3U playlists.
 *
 *     #EXTM3U
 *     #EXTINF:-1 tvg-id="news.example" tvg-chno="1" group-title="Information",News
 *     http://streams.example/news
 *
 * Other lines that begin with # are skipped, empty ones too. A channel without tvg-chno gets the
 * least number that is free. */
#ifndef TVLINK_SIM_PLAYLIST_H
#define TVLINK_SIM_PLAYLIST_H

#include <string>
#include <vector>

#include "channels.h"

namespace sim
{

/* At least one channel, each with a number of its own. Throws InputError. */
std::vector<Channel> parse_playlist(const std::string &text);

} // namespace sim

#endif
