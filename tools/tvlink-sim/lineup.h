/* SPDX-License-Identifier: MIT */
/* Loads the television's channels and guide from files. */
#ifndef TVLINK_SIM_LINEUP_H
#define TVLINK_SIM_LINEUP_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "channels.h"
#include "guide.h"

namespace sim
{

struct LineupFiles {
    std::string channels; /* empty: those of the guide, or the sample */
    std::string guide;    /* empty: the sample for the sample's channels, none for others */
    bool guide_starts_today = false; /* the sample always does */
    bool strict = false;             /* files with any fault are refused */
    std::string language = {};       /* of the guide's texts, such as "en"; empty: the first */
};

struct Lineup {
    std::vector<Channel> channels;
    Guide guide;
    std::vector<std::string> remarks; /* what of the files was left out or mended */
};

/* what() is "FILE:LINE: reason", or "FILE: reason" about the file as a whole. */
struct LineupError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* `today` in days since the epoch (UTC). Throws LineupError. */
Lineup load_lineup(const LineupFiles &files, uint32_t today);

} // namespace sim

#endif
