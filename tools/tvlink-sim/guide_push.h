/* The simple guide, sent to every phone without being asked for. */
#ifndef TVLINK_SIM_GUIDE_PUSH_H
#define TVLINK_SIM_GUIDE_PUSH_H

#include <cstdint>

namespace sim
{

struct GuidePush {
    uint32_t entries;
    uint32_t phones; /* to how many it is on its way */
};

GuidePush push_guide();

} // namespace sim

#endif
