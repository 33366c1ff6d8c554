/* SPDX-License-Identifier: MIT */
#include "slot_list.h"

#include <cstdio>

#include "tvlink/host/slot_report.h"

namespace sim
{

namespace
{

std::string slot_codes(const IppSlotInfo &slot)
{
    char text[32];
    if (slot.first_code == slot.last_code) {
        snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(slot.first_code));
    } else {
        snprintf(text, sizeof text, "0x%04X-0x%04X", static_cast<unsigned>(slot.first_code),
                 static_cast<unsigned>(slot.last_code));
    }
    return text;
}

std::string slot_reach(const IppSlotInfo &slot)
{
    switch (slot.reach) {
    case IPP_REACH_GET:
        return "get " + slot_codes(slot);
    case IPP_REACH_SET:
        return "set " + slot_codes(slot);
    case IPP_REACH_INFO:
        return "device information";
    case IPP_REACH_DIRECT:
        return "by no request";
    case IPP_REACH_NEVER:
        break;
    }
    return "never";
}

void append_slot(const IppSlotInfo *slot, void *list)
{
    char line[256];
    const bool empty = slot->filled == 0 && slot->reach != IPP_REACH_NEVER;
    snprintf(line, sizeof line, "%2u %c %-27s %-18s %s", static_cast<unsigned>(slot->number),
             empty ? '*' : ' ', slot->name, slot_reach(*slot).c_str(),
             slot->summary == nullptr ? "" : slot->summary);
    std::string text = line;
    text.erase(text.find_last_not_of(' ') + 1);
    *static_cast<std::string *>(list) += text + "\n";
}

} // namespace

std::string slot_list()
{
    std::string list;
    ipp_slot_report(append_slot, &list);
    return list;
}

} // namespace sim
