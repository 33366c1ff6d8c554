#include "methods/method_table.h"

#include "methods/method_table_layout.h"
#include "support/asked_television.h"
#include "support/project_text.h"

namespace
{

/* Hosts are built against this order. */
const char *const SLOTS[] = {
    "set_tv_code0115",
    "set_tv_code3001",
    "set_tv_code0116",
    "set_tv_code0117",
    "get_screen_shot2",
    "get_tv_epg",
    "get_tv_epgweek",
    "get_tv_code0105",
    "get_tv_vodplayer",
    "get_tv_text",
    "get_tv_vodarraystring",
    "get_tv_vodarraystring2",
    "get_tv_order",
    "get_tv_code010e",
    "get_tv_code0001",
    "set_tv_mute",
    "set_tv_action2",
    "set_tv_action1",
    "set_tv_bind",
    "set_tv_searchchannel",
    "set_tv_showphone",
    "set_tv_voddetails",
    "set_tv_loginfromtv",
    "set_tv_mode",
    "get_tv_code2005",
    "set_tv_volume",
    "set_tv_powermode",
    "set_tv_key",
    "set_tv_touch",
    "set_tv_channel",
    "set_tv_mouse",
    "set_tv_textpair",
    "set_tv_order",
    "set_tv_int3",
    "set_tv_name",
    "reserved_35",
    "set_tv_install_apklist",
    "set_tv_current_position",
    "set_tv_nick_name",
    "set_tv_setting_mtnadata",
    "set_tv_vod_vt_int",
    "set_tv_vod_vt_str",
    "set_tv_vod_vt_long",
    "set_tv_show_phone_connect",
    "set_tv_shut_down",
    "get_tv_vodstr",
    "get_tv_vodstr2",
    "get_tv_vodstatus",
    "get_tv_vodstatus2",
    "get_tv_vodintarray",
    "get_tv_vodintarray2",
    "set_tv_vod",
    "reserved_52",
    "get_tv_simpleepg",
    "get_tv_channelcode",
    "get_tv_channelcode2",
    "get_tv_channelcode3",
    "get_tv_searchsimpleepg",
    "get_tv_metadata",
    "get_tv_installapklist",
    "get_tv_currentposition",
    "set_tv_wifiinfo",
    "get_startplayer",
    "tv_sendvoice",
    "get_tv_vodplayer_v2",
    "get_europe_version",
    "get_device_info",
    "get_tv_code400b",
    "get_tv_code400c",
    "get_tv_code400d",
    "get_tv_code400a",
    "get_tv_code4015",
    "reserved_72",
    "reserved_73",
    "get_play_status",
    "get_play_position",
    "get_play_duration",
    "reserved_77",
    "set_play_addr",
    "set_play_addr2",
    "reserved_80",
    "set_play_volume",
    "set_play_start",
    "set_play_pause",
    "set_play_stop",
    "set_play_seek",
    "set_play_operation",
};
const size_t SLOT_COUNT = sizeof SLOTS / sizeof SLOTS[0];

TEST(MethodTableLayout, HasEightySevenSlots)
{
    EXPECT_EQ(SLOT_COUNT, 87u);
    EXPECT_EQ(sizeof(TvMethodTable), 87 * sizeof(void (*)()));
}

TEST(MethodTableLayout, IsCheckedAtCompileTimeForEverySlotAndTheSize)
{
    const std::string checks = project_text("source/methods/method_table_layout.h");
    for (size_t number = 0; number < SLOT_COUNT; number++) {
        const std::string check = std::string("\nstatic_assert(offsetof(TvMethodTable, ") +
                                  SLOTS[number] + ") == method_slot_offset(" +
                                  std::to_string(number) + "));\n";
        EXPECT_NE(checks.find(check), std::string::npos) << check;
    }
    EXPECT_NE(checks.find("\nstatic_assert(sizeof(TvMethodTable) == method_slot_offset(87));\n"),
              std::string::npos);
    static_assert(method_slot_offset(0) == 0);
    static_assert(method_slot_offset(87) == 87 * sizeof(void (*)()));
    EXPECT_NE(project_text("source/methods/method_table.cpp")
                  .find("\n#include \"methods/method_table_layout.h\"\n"),
              std::string::npos);
}

/* The slots as the public header declares them, in its order. */
TEST(MethodTableLayout, IsTheOrderOfThePublicHeader)
{
    const std::string header = project_text("include/tvlink.h");
    const size_t begin = header.find("typedef struct TvMethodTable {");
    ASSERT_NE(begin, std::string::npos);
    const std::string record = header.substr(begin, header.find("} TvMethodTable;") - begin);
    const Lines declared = names_between(record, "(*", ")(");
    EXPECT_EQ(declared, Lines(SLOTS, SLOTS + SLOT_COUNT));
}

TEST(MethodTable, IsTheOneThatWasRegisteredLast)
{
    const TvMethodTable first = {};
    const TvMethodTable second = {};
    EXPECT_EQ(registered_methods(), nullptr);
    EXPECT_EQ(register_tv_method(&first), &first);
    EXPECT_EQ(g_tv_method, &first);
    EXPECT_EQ(registered_methods(), &first);
    EXPECT_EQ(register_tv_method(&second), &second);
    EXPECT_EQ(registered_methods(), &second);
    EXPECT_EQ(register_tv_method(nullptr), nullptr);
    EXPECT_EQ(g_tv_method, nullptr);
}

TEST(MethodTable, OffersNoSlotsForABadRequestOrWithoutATable)
{
    RequestReader request = {};
    TvMethodTable table = {};
    table.set_tv_bind = [] { return 0; };
    ASSERT_NE(host_methods(&request), nullptr);
    EXPECT_EQ(host_methods(&request)->set_tv_bind, nullptr);
    register_tv_method(&table);
    EXPECT_EQ(host_methods(&request), &table);
    request.failed = true;
    ASSERT_NE(host_methods(&request), nullptr);
    EXPECT_EQ(host_methods(&request)->set_tv_bind, nullptr);
    register_tv_method(nullptr);
}

TEST(MethodTable, HasTwoEntryPointsThatDoNothing)
{
    EXPECT_EQ(tv_opt(), 0);
    EXPECT_EQ(tv_finish(), 0);
}

} // namespace
