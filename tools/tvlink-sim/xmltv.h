/* SPDX-License-Identifier: MIT */
/* Programme guides in XMLTV.
 *
 *     <tv>
 *       <programme start="20261121201500 +0100" stop="20261121220000 +0100" channel="news.example">
 *         <title>The Evening</title>
 *         <category>News</category>
 *         <desc>What happened today.</desc>
 *       </programme>
 *     </tv>
 *
 * Of repeated elements the first counts; other elements are skipped. A programme without stop ends
 * when the next one of its channel starts; the last one takes half an hour. */
#ifndef TVLINK_SIM_XMLTV_H
#define TVLINK_SIM_XMLTV_H

#include <string>
#include <vector>

#include "channels.h"
#include "guide.h"

namespace sim
{

struct ReadGuide {
    Guide guide;
    size_t of_other_channels = 0; /* programmes of channels that the television does not have */
    size_t left_out = 0;          /* programmes beyond max_programmes, in file order */
};

/* Throws InputError. */
ReadGuide parse_guide(const std::string &text, const std::vector<Channel> &channels);

} // namespace sim

#endif
