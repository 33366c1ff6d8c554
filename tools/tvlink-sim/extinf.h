/* SPDX-License-Identifier: MIT */
/* The attributes in a line of a playlist. */
#ifndef TVLINK_SIM_EXTINF_H
#define TVLINK_SIM_EXTINF_H

#include <cstddef>
#include <optional>
#include <string>

#include "faults.h"

namespace sim
{

struct Extinf {
    std::optional<std::string> number; /* tvg-chno, as it is written */
    std::string guide_id;
    std::string group;
    std::string other_name; /* tvg-name */
    std::string name;       /* may be empty */
};

std::string trimmed(const std::string &text);
size_t skip_blanks(const std::string &text, size_t at);

/* Parses what follows "#EXTINF:": the length in seconds, attributes, a comma, the name. Of repeated
 * attributes the first counts. A lenient reading takes attributes without quotation marks, with
 * blanks around the equals sign, and skips other words. */
Extinf read_extinf(const std::string &text, size_t line, Faults &faults);

/* The guide that the attributes of #EXTM3U name; empty for none. */
std::string named_guide(const std::string &text);

} // namespace sim

#endif
