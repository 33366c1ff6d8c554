/* SPDX-License-Identifier: MIT */
/* Pushes the simple guide to every connected phone. */
#ifndef TVLINK_SIM_GUIDE_PUSH_H
#define TVLINK_SIM_GUIDE_PUSH_H

#include <cstdint>

namespace sim
{

struct GuidePush {
    uint32_t entries;
    uint32_t phones; /* to which a push has been started */
};

GuidePush push_guide();

} // namespace sim

#endif
