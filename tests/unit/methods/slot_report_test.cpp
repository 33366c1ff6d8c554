/* SPDX-License-Identifier: MIT */
#include "tvlink/host/slot_report.h"

#include "support/project_text.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace
{

std::vector<IppSlotInfo> reported_slots()
{
    std::vector<IppSlotInfo> slots;
    ipp_slot_report(
        [](const IppSlotInfo *slot, void *context) {
            static_cast<std::vector<IppSlotInfo> *>(context)->push_back(*slot);
        },
        &slots);
    return slots;
}

class SlotReport : public testing::Test
{
protected:
    ~SlotReport() override
    {
        register_tv_method(nullptr);
    }
};

void expect_slot(const IppSlotInfo &slot, const char *name, IppReach reach, uint16_t first_code,
                 uint16_t last_code)
{
    EXPECT_STREQ(slot.name, name);
    EXPECT_EQ(slot.handler, "handle_" + std::string(name));
    EXPECT_EQ(slot.reach, reach) << name;
    EXPECT_EQ(slot.first_code, first_code) << name;
    EXPECT_EQ(slot.last_code, last_code) << name;
}

} // namespace

TEST_F(SlotReport, HasEverySlotOnceInTheOrderOfTheTable)
{
    const std::vector<IppSlotInfo> slots = reported_slots();
    ASSERT_EQ(slots.size(), 87u);
    const std::string header = project_text("include/tvlink.h");
    size_t at = header.find("typedef struct TvMethodTable {");
    for (uint32_t number = 0; number < slots.size(); number++) {
        EXPECT_EQ(slots[number].number, number);
        const size_t declared = header.find("(*" + std::string(slots[number].name) + ")(", at);
        ASSERT_NE(declared, std::string::npos) << slots[number].name;
        at = declared;
    }
}

TEST_F(SlotReport, TellsHowASlotIsReached)
{
    const std::vector<IppSlotInfo> slots = reported_slots();
    expect_slot(slots.at(5), "get_tv_epg", IPP_REACH_GET, 0x2000, 0x2000);
    EXPECT_STREQ(slots.at(5).family, "list");
    EXPECT_STREQ(slots.at(5).summary, "guide");
    expect_slot(slots.at(29), "set_tv_channel", IPP_REACH_SET, 0x0101, 0x0102);
    expect_slot(slots.at(66), "get_device_info", IPP_REACH_INFO, 0, 0);
    std::set<uint32_t> reserved;
    for (const IppSlotInfo &slot : slots) {
        if (slot.reach == IPP_REACH_NEVER) {
            EXPECT_EQ(slot.name, "reserved_" + std::to_string(slot.number));
            EXPECT_EQ(slot.handler, nullptr);
            EXPECT_EQ(slot.family, nullptr);
            EXPECT_EQ(slot.summary, nullptr);
            reserved.insert(slot.number);
        }
    }
    EXPECT_EQ(reserved, (std::set<uint32_t>{35, 52, 72, 73, 77, 80}));
}

TEST_F(SlotReport, TellsWhichSlotsTheHostHasFilled)
{
    for (const IppSlotInfo &slot : reported_slots()) {
        EXPECT_EQ(slot.filled, 0) << slot.name << " without a table";
    }
    TvMethodTable table = {};
    table.set_tv_key = [](uint32_t, uint32_t) { return 0; };
    table.get_device_info = [](char *) { return 0; };
    register_tv_method(&table);
    for (const IppSlotInfo &slot : reported_slots()) {
        const std::string name = slot.name;
        EXPECT_EQ(slot.filled, name == "set_tv_key" || name == "get_device_info" ? 1 : 0) << name;
    }
}
