/* SPDX-License-Identifier: MIT */
/* Programme guides in XMLTV.
 *
 *     <tv>
 *       <channel id="news.example"><display-name>News</display-name></channel>
 *       <programme start="20261121201500 +0100" stop="20261121220000 +0100" channel="news.example">
 *         <title>The Evening</title>
 *         <category>News</category>
 *         <desc>What happened today.</desc>
 *       </programme>
 *     </tv>
 *
 * Of repeated elements the first in the wanted language counts, otherwise the first; other elements
 * are skipped. A programme without stop ends when the next one of its channel starts; the last one
 * takes half an hour. A lenient reading lets a programme end when the next one starts also where
 * both overlap. */
#ifndef TVLINK_SIM_XMLTV_H
#define TVLINK_SIM_XMLTV_H

#include <string>
#include <vector>

#include "channels.h"
#include "faults.h"
#include "guide.h"
#include "unzip.h"

namespace sim
{

struct GuideWishes {
    const std::vector<Channel> *channels; /* whose programmes are kept */
    bool own_channels = false;            /* those of the guide itself instead, if it has any */
    std::string language = {};            /* such as "en"; empty: whatever comes first */
    Strictness strictness = Strictness::LENIENT;
};

/* How many texts of the kept programmes are longer than a list allows, and therefore cut. */
struct CutTexts {
    size_t titles = 0;
    size_t categories = 0;
    size_t descriptions = 0;
};

struct ReadGuide {
    Guide guide;
    std::vector<Channel> channels; /* of the guide itself, without addresses; if wished for */
    size_t of_other_channels = 0;  /* programmes of channels that the television does not have */
    size_t left_out = 0;           /* programmes beyond max_programmes, in file order */
    CutTexts cut;
    std::vector<std::string>
        remarks; /* what was skipped or mended, a line for each kind of fault */
};

/* Throws InputError: a strict reading at the first fault, a lenient one when the file is no guide
 * from the beginning. */
ReadGuide parse_guide(const ReadBlock &read, const GuideWishes &wishes);

} // namespace sim

#endif
