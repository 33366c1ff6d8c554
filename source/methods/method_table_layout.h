/* The order of the method table's slots, which hosts rely on, checked at compile time. */
#ifndef TVLINK_METHOD_TABLE_LAYOUT_H
#define TVLINK_METHOD_TABLE_LAYOUT_H

#include <stddef.h>

#include "tvlink.h"

constexpr size_t method_slot_offset(size_t number)
{
    return number * sizeof(void (*)(void));
}

static_assert(offsetof(TvMethodTable, set_tv_code0115) == method_slot_offset(0));
static_assert(offsetof(TvMethodTable, set_tv_code3001) == method_slot_offset(1));
static_assert(offsetof(TvMethodTable, set_tv_code0116) == method_slot_offset(2));
static_assert(offsetof(TvMethodTable, set_tv_code0117) == method_slot_offset(3));
static_assert(offsetof(TvMethodTable, get_screen_shot2) == method_slot_offset(4));
static_assert(offsetof(TvMethodTable, get_tv_epg) == method_slot_offset(5));
static_assert(offsetof(TvMethodTable, get_tv_epgweek) == method_slot_offset(6));
static_assert(offsetof(TvMethodTable, get_tv_code0105) == method_slot_offset(7));
static_assert(offsetof(TvMethodTable, get_tv_vodplayer) == method_slot_offset(8));
static_assert(offsetof(TvMethodTable, get_tv_text) == method_slot_offset(9));
static_assert(offsetof(TvMethodTable, get_tv_vodarraystring) == method_slot_offset(10));
static_assert(offsetof(TvMethodTable, get_tv_vodarraystring2) == method_slot_offset(11));
static_assert(offsetof(TvMethodTable, get_tv_order) == method_slot_offset(12));
static_assert(offsetof(TvMethodTable, get_tv_code010e) == method_slot_offset(13));
static_assert(offsetof(TvMethodTable, get_tv_code0001) == method_slot_offset(14));
static_assert(offsetof(TvMethodTable, set_tv_mute) == method_slot_offset(15));
static_assert(offsetof(TvMethodTable, set_tv_action2) == method_slot_offset(16));
static_assert(offsetof(TvMethodTable, set_tv_action1) == method_slot_offset(17));
static_assert(offsetof(TvMethodTable, set_tv_bind) == method_slot_offset(18));
static_assert(offsetof(TvMethodTable, set_tv_searchchannel) == method_slot_offset(19));
static_assert(offsetof(TvMethodTable, set_tv_showphone) == method_slot_offset(20));
static_assert(offsetof(TvMethodTable, set_tv_voddetails) == method_slot_offset(21));
static_assert(offsetof(TvMethodTable, set_tv_loginfromtv) == method_slot_offset(22));
static_assert(offsetof(TvMethodTable, set_tv_mode) == method_slot_offset(23));
static_assert(offsetof(TvMethodTable, get_tv_code2005) == method_slot_offset(24));
static_assert(offsetof(TvMethodTable, set_tv_volume) == method_slot_offset(25));
static_assert(offsetof(TvMethodTable, set_tv_powermode) == method_slot_offset(26));
static_assert(offsetof(TvMethodTable, set_tv_key) == method_slot_offset(27));
static_assert(offsetof(TvMethodTable, set_tv_touch) == method_slot_offset(28));
static_assert(offsetof(TvMethodTable, set_tv_channel) == method_slot_offset(29));
static_assert(offsetof(TvMethodTable, set_tv_mouse) == method_slot_offset(30));
static_assert(offsetof(TvMethodTable, set_tv_textpair) == method_slot_offset(31));
static_assert(offsetof(TvMethodTable, set_tv_order) == method_slot_offset(32));
static_assert(offsetof(TvMethodTable, set_tv_int3) == method_slot_offset(33));
static_assert(offsetof(TvMethodTable, set_tv_name) == method_slot_offset(34));
static_assert(offsetof(TvMethodTable, reserved_35) == method_slot_offset(35));
static_assert(offsetof(TvMethodTable, set_tv_install_apklist) == method_slot_offset(36));
static_assert(offsetof(TvMethodTable, set_tv_current_position) == method_slot_offset(37));
static_assert(offsetof(TvMethodTable, set_tv_nick_name) == method_slot_offset(38));
static_assert(offsetof(TvMethodTable, set_tv_setting_mtnadata) == method_slot_offset(39));
static_assert(offsetof(TvMethodTable, set_tv_vod_vt_int) == method_slot_offset(40));
static_assert(offsetof(TvMethodTable, set_tv_vod_vt_str) == method_slot_offset(41));
static_assert(offsetof(TvMethodTable, set_tv_vod_vt_long) == method_slot_offset(42));
static_assert(offsetof(TvMethodTable, set_tv_show_phone_connect) == method_slot_offset(43));
static_assert(offsetof(TvMethodTable, set_tv_shut_down) == method_slot_offset(44));
static_assert(offsetof(TvMethodTable, get_tv_vodstr) == method_slot_offset(45));
static_assert(offsetof(TvMethodTable, get_tv_vodstr2) == method_slot_offset(46));
static_assert(offsetof(TvMethodTable, get_tv_vodstatus) == method_slot_offset(47));
static_assert(offsetof(TvMethodTable, get_tv_vodstatus2) == method_slot_offset(48));
static_assert(offsetof(TvMethodTable, get_tv_vodintarray) == method_slot_offset(49));
static_assert(offsetof(TvMethodTable, get_tv_vodintarray2) == method_slot_offset(50));
static_assert(offsetof(TvMethodTable, set_tv_vod) == method_slot_offset(51));
static_assert(offsetof(TvMethodTable, reserved_52) == method_slot_offset(52));
static_assert(offsetof(TvMethodTable, get_tv_simpleepg) == method_slot_offset(53));
static_assert(offsetof(TvMethodTable, get_tv_channelcode) == method_slot_offset(54));
static_assert(offsetof(TvMethodTable, get_tv_channelcode2) == method_slot_offset(55));
static_assert(offsetof(TvMethodTable, get_tv_channelcode3) == method_slot_offset(56));
static_assert(offsetof(TvMethodTable, get_tv_searchsimpleepg) == method_slot_offset(57));
static_assert(offsetof(TvMethodTable, get_tv_metadata) == method_slot_offset(58));
static_assert(offsetof(TvMethodTable, get_tv_installapklist) == method_slot_offset(59));
static_assert(offsetof(TvMethodTable, get_tv_currentposition) == method_slot_offset(60));
static_assert(offsetof(TvMethodTable, set_tv_wifiinfo) == method_slot_offset(61));
static_assert(offsetof(TvMethodTable, get_startplayer) == method_slot_offset(62));
static_assert(offsetof(TvMethodTable, tv_sendvoice) == method_slot_offset(63));
static_assert(offsetof(TvMethodTable, get_tv_vodplayer_v2) == method_slot_offset(64));
static_assert(offsetof(TvMethodTable, get_europe_version) == method_slot_offset(65));
static_assert(offsetof(TvMethodTable, get_device_info) == method_slot_offset(66));
static_assert(offsetof(TvMethodTable, get_tv_code400b) == method_slot_offset(67));
static_assert(offsetof(TvMethodTable, get_tv_code400c) == method_slot_offset(68));
static_assert(offsetof(TvMethodTable, get_tv_code400d) == method_slot_offset(69));
static_assert(offsetof(TvMethodTable, get_tv_code400a) == method_slot_offset(70));
static_assert(offsetof(TvMethodTable, get_tv_code4015) == method_slot_offset(71));
static_assert(offsetof(TvMethodTable, reserved_72) == method_slot_offset(72));
static_assert(offsetof(TvMethodTable, reserved_73) == method_slot_offset(73));
static_assert(offsetof(TvMethodTable, get_play_status) == method_slot_offset(74));
static_assert(offsetof(TvMethodTable, get_play_position) == method_slot_offset(75));
static_assert(offsetof(TvMethodTable, get_play_duration) == method_slot_offset(76));
static_assert(offsetof(TvMethodTable, reserved_77) == method_slot_offset(77));
static_assert(offsetof(TvMethodTable, set_play_addr) == method_slot_offset(78));
static_assert(offsetof(TvMethodTable, set_play_addr2) == method_slot_offset(79));
static_assert(offsetof(TvMethodTable, reserved_80) == method_slot_offset(80));
static_assert(offsetof(TvMethodTable, set_play_volume) == method_slot_offset(81));
static_assert(offsetof(TvMethodTable, set_play_start) == method_slot_offset(82));
static_assert(offsetof(TvMethodTable, set_play_pause) == method_slot_offset(83));
static_assert(offsetof(TvMethodTable, set_play_stop) == method_slot_offset(84));
static_assert(offsetof(TvMethodTable, set_play_seek) == method_slot_offset(85));
static_assert(offsetof(TvMethodTable, set_play_operation) == method_slot_offset(86));

static_assert(sizeof(TvMethodTable) == method_slot_offset(87));

#endif
