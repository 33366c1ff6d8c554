/* SPDX-License-Identifier: MIT */
#include "support/asked_television.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <cerrno>

namespace
{

using TextHandlers = AskedTelevision;

/* A handler whose text goes into a buffer or a copy: the request around the text, the slot's line
 * around it, and the length that the text may have. */
struct TextArgument {
    Handler handler;
    const char *before; /* up to the length */
    const char *behind;
    size_t longest;
    const char *call_before;
    const char *call_behind;
    bool passes_length;
    std::string reply;
    const char *refused;
    int result = 0; /* of the slot */
};

/* clang-format off */
const TextArgument ARGUMENTS[] = {
    {handle_set_tv_textpair, "12 01 EE EE", "EE 01 00 'b'", 255,
     "set_tv_textpair \"b\" ", "", false, "08 12 01 00", "08 12 01 FF"},
    {handle_set_tv_textpair, "12 01 EE EE 01 00 'a' EE", "", 31,
     "set_tv_textpair ", " \"a\"", false, "08 12 01 00", "08 12 01 FF"},
    {handle_set_tv_name, "08 01 EE EE", "", 255,
     "set_tv_name ", "", true, "08 08 01 00", "08 08 01 FF"},
    {handle_set_tv_wifiinfo, "09 40 EE EE EE", "", 255,
     "set_tv_wifiinfo ", "", false, "08 09 40 00", "08 09 40 FF"},
    {handle_set_tv_code3001, "34 12 EE EE", "", 65535,
     "set_tv_code3001 ", "", false, "08 01 30 00", "08 01 30 FF"},
    {handle_set_tv_code0115, "34 12 EE EE 07 00 EE", "", 65535,
     "set_tv_code0115 ", " 7", false, "08 15 01 00", "08 15 01 FF"},
    {handle_set_tv_showphone, "21 01 08", "", 65535,
     "set_tv_showphone ", "", true, "08 21 01 00", "08 21 01 FF"},
    {handle_set_tv_voddetails, "22 01 EE", "EE 01 00 'b'", 65535,
     "set_tv_voddetails ", " \"b\" 1", true, "08 22 01 00", "08 22 01 FF"},
    {handle_set_tv_voddetails, "22 01 EE 01 00 'a' EE", "", 65535,
     "set_tv_voddetails \"a\" 1 ", "", true, "08 22 01 00", "08 22 01 FF"},
    {handle_set_tv_loginfromtv, "23 01 EE EE",
     "EE 01 00 'b' EE 01 00 'c' EE 01 00 'd' EE 01 00 'e'", 255,
     "set_tv_loginfromtv ", " \"b\" \"c\" \"d\" \"e\"", false, "08 23 01 00", "08 23 01 00"},
    {handle_set_tv_loginfromtv, "23 01 EE EE 01 00 'a' EE",
     "EE 01 00 'c' EE 01 00 'd' EE 01 00 'e'", 255,
     "set_tv_loginfromtv \"a\" ", " \"c\" \"d\" \"e\"", false, "08 23 01 00", "08 23 01 00"},
    {handle_set_tv_loginfromtv, "23 01 EE EE 01 00 'a' EE 01 00 'b' EE",
     "EE 01 00 'd' EE 01 00 'e'", 255,
     "set_tv_loginfromtv \"a\" \"b\" ", " \"d\" \"e\"", false, "08 23 01 00", "08 23 01 00"},
    {handle_set_tv_loginfromtv, "23 01 EE EE 01 00 'a' EE 01 00 'b' EE 01 00 'c' EE",
     "EE 01 00 'e'", 255,
     "set_tv_loginfromtv \"a\" \"b\" \"c\" ", " \"e\"", false, "08 23 01 00", "08 23 01 00"},
    {handle_set_tv_loginfromtv, "23 01 EE EE 01 00 'a' EE 01 00 'b' EE 01 00 'c' EE 01 00 'd' EE",
     "", 255,
     "set_tv_loginfromtv \"a\" \"b\" \"c\" \"d\" ", "", false, "08 23 01 00", "08 23 01 00"},

    {handle_set_play_addr, "05 15 08", "", 65535,
     "set_play_addr ", "", false, "08 05 15 00", "08 05 15 FF"},
    {handle_set_play_addr2, "17 15 EE 08", "EE 00 00 00 00 EE 05", 65535,
     "set_play_addr2 ", " \"\" 0 5", false, "08 17 15 00", "08 17 15 FF"},

    {handle_get_tv_code400a, "01 0A 40 EE EE EE", "", 2559,
     "get_tv_code400a *0 ", "", false, "06 01 0A 40 06 00 00 00 00", "06 01 0A 40"},
    {handle_get_tv_code400b, "01 0B 40 EE EE EE", "", 2559,
     "get_tv_code400b [2560] ", "", false, "06 01 0B 40 08 00 00", "06 01 0B 40"},
    {handle_get_tv_code400c, "01 0C 40 EE EE EE", "", 2559,
     "get_tv_code400c [2560] ", "", false, "06 01 0C 40 08 00 00", "06 01 0C 40"},
    {handle_get_tv_code400d, "01 0D 40 EE EE EE", "", 2559,
     "get_tv_code400d [2560] ", "", false, "06 01 0D 40 08 00 00", "06 01 0D 40"},
    {handle_get_tv_code4015, "01 15 40 EE EE EE", "", 2559,
     "get_tv_code4015 [2560] ", "", false, "06 01 15 40 08 00 00", "06 01 15 40"},
    {handle_set_tv_setting_mtnadata, "08 40 EE EE EE", "01 00 'b' EE 07", 65535,
     "set_tv_setting_mtnadata \"b\" 1 ", " 7 [2560]", true, "06 01 08 40 08 00 00", "06 01 08 40"},
    {handle_set_tv_setting_mtnadata, "08 40 EE EE EE 01 00 'a'", "EE 07", 255,
     "set_tv_setting_mtnadata ", " \"a\" 1 7 [2560]", true, "06 01 08 40 08 00 00",
     "06 01 08 40"},
    {handle_set_tv_install_apklist, "34 12 EE", "04 03 02 01", 65535,
     "set_tv_install_apklist ", " 16909060", false, "06 01 34 12 06 00 00 00 00", "06 01 34 12"},
    {handle_set_tv_current_position, "34 12 EE", "", 65535,
     "set_tv_current_position ", "", true, "06 01 34 12 06 00 00 00 00", "06 01 34 12"},
    {handle_set_tv_nick_name, "34 12 EE", "04 03 02 01", 65535,
     "set_tv_nick_name ", " 16909060", false, "06 01 34 12 06 00 00 00 00", "06 01 34 12"},
    {handle_set_tv_vod_vt_int, "34 12 EE EE 07 EE", "EE 04 03 02 01", 65535,
     "set_tv_vod_vt_int 7 ", " 16909060", false, "08 34 12 00", "08 34 12 FF"},
    {handle_set_tv_vod_vt_str, "34 12 EE EE 07 EE", "EE 01 00 'b'", 65535,
     "set_tv_vod_vt_str 7 ", " \"b\"", false, "08 34 12 00", "08 34 12 FF"},
    {handle_set_tv_vod_vt_str, "34 12 EE EE 07 EE 01 00 'a' EE", "", 65535,
     "set_tv_vod_vt_str 7 \"a\" ", "", false, "08 34 12 00", "08 34 12 FF"},
    {handle_set_tv_vod_vt_long, "34 12 EE EE 07 EE", "EE 04 03 02 01 00 00 00 00", 65535,
     "set_tv_vod_vt_long 7 ", " 16909060", false, "08 34 12 00", "08 34 12 FF"},
    {handle_set_tv_show_phone_connect, "34 12", "01 00 'b'", 65535,
     "set_tv_show_phone_connect ", " \"b\"", false, "08 34 12 00", "08 34 12 FF"},
    {handle_set_tv_show_phone_connect, "34 12 01 00 'a'", "", 65535,
     "set_tv_show_phone_connect \"a\" ", "", false, "08 34 12 00", "08 34 12 FF"},

    {handle_set_tv_vod, "34 12 EE EE 08 EE", "", 1023,
     "set_tv_vod 8 0 0 0 ", "", true, "08 34 12 00", "08 34 12 FF"},
    {handle_get_tv_vodstr2, "01 18 40 EE EE 07 EE", "", 2559,
     "get_tv_vodstr2 7 ", "", false, "06 01 18 40 08 01 00 'A'", "06 01 18 40"},
    {handle_get_tv_vodstatus2, "01 21 40 EE", "", 65535,
     "get_tv_vodstatus2 ", " [280]", false, "06 01 0F 20 A4 18 01 00 00 " + hex(Bytes(280)),
     "06 01 21 40", 1},
    {handle_get_tv_vodintarray2, "01 1C 40 EE EE", "", 2559,
     "get_tv_vodintarray2 *0 ", "", false, "06 01 1C 40 0C 00 00 00 00", "06 01 1C 40"},
    {handle_get_tv_vodarraystring2, "01 1B 40 EE", "", 65535,
     "get_tv_vodarraystring2 ", " *0", false, "06 01 1B 40 0C 00 00 00 00", "06 01 1B 40"},
    {handle_get_tv_vodplayer_v2, "01 1E 40 EE EE", "", 65535,
     "get_tv_vodplayer_v2 ", "", false, "06 01 1E 40 06 00 00 00 00", "06 01 1E 40"},
    {handle_tv_sendvoice, "01 1F 40 EE EE", "", 65535,
     "tv_sendvoice ", "", true, "", "06 01 1F 40"},
    {handle_get_tv_metadata, "01 03 40 EE EE 07 EE", "01 00 'b'", 65535,
     "get_tv_metadata ", " \"b\" 7 [65535]", false, "06 01 03 40 08 00 00", "06 01 03 40"},
    {handle_get_tv_metadata, "01 03 40 EE EE 07 EE 01 00 'a'", "", 65535,
     "get_tv_metadata \"a\" ", " 7 [65535]", false, "06 01 03 40 08 00 00", "06 01 03 40"},

    {handle_get_tv_searchsimpleepg, "01 03 20 EE EE", "", 1023,
     "get_tv_searchsimpleepg ", " *0 *0", true, "06 01 03 20 A3 05 00 00 00 00 00 20 C0 40",
     "06 01 03 20 A3 00 00 00 00"},
    {handle_get_tv_channelcode3, "01 16 40 EE", "", 65535,
     "get_tv_channelcode3 ", " *0", false, "06 01 16 40 A5 05 00 00 00 00 00 20 C0 40",
     "06 01 16 40 A3 00 00 00 00"},
};
/* clang-format on */

Bytes request_with(const TextArgument &argument, size_t length)
{
    return joined({bytes(argument.before),
                   {static_cast<uint8_t>(length), static_cast<uint8_t>(length >> 8)},
                   Bytes(length, 'x'),
                   bytes(argument.behind)});
}

std::string call_with(const TextArgument &argument, size_t length)
{
    return argument.call_before + ("\"" + std::string(length, 'x') + "\"") +
           (argument.passes_length ? " " + std::to_string(length) : "") + argument.call_behind;
}

TEST_F(TextHandlers, TakeTextsUpToTheirLongestAndNoLonger)
{
    HostAnswers answers;
    answers.data = bytes("'A'"); /* compressed: 20 C0 40 */
    for (const TextArgument &argument : ARGUMENTS) {
        answers.result = argument.result;
        host.answer(answers);
        for (const size_t length :
             std::vector<size_t>{1, 30, 31, 32, 254, 255, 256, 257, 1022, 1023, 1024, 1025, 2558,
                                 2559, 2560, 2561, 65534, 65535}) {
            SCOPED_TRACE(std::string(argument.before) + ": " + std::to_string(length));
            const bool fits = length <= argument.longest;
            EXPECT_EQ(ask(argument.handler, request_with(argument, length)), fits ? 0 : -1);
            EXPECT_EQ(host.calls(), fits ? Lines{call_with(argument, length)} : Lines());
            EXPECT_EQ(phone.received(), frame_around(fits ? argument.reply : argument.refused));
        }
    }
}

TEST_F(TextHandlers, RefuseATextThatClaimsMoreThanThereIs)
{
    for (const TextArgument &argument : ARGUMENTS) {
        SCOPED_TRACE(argument.before);
        for (const char *text : {"FF FF 'xx'", "1F 00 'xx'", "FF 00"}) {
            EXPECT_EQ(ask(argument.handler, std::string(argument.before) + " " + text), -1);
            EXPECT_TRUE(host.calls().empty());
            EXPECT_EQ(phone.received(), frame_around(argument.refused));
        }
    }
}

TEST_F(TextHandlers, PassLengthsOnThatCountZerosInside)
{
    EXPECT_EQ(ask(handle_set_tv_showphone, "21 01 08 05 00 'ab' 00 'cd'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_showphone \"ab\" 5"});
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 05 00 'ab' 00 'cd'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_name \"ab\" 5"});
    EXPECT_EQ(ask(handle_set_tv_current_position, "34 12 EE 05 00 'ab' 00 'cd'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_current_position \"ab\" 5"});
    EXPECT_EQ(ask(handle_set_tv_vod, "34 12 EE EE 07 EE 05 00 'ab' 00 'cd'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_vod 7 0 0 0 \"ab\" 5"});
    EXPECT_EQ(ask(handle_set_tv_setting_mtnadata,
                  "08 40 EE EE EE 03 00 'a' 00 'b' 04 00 'c' 00 'de' EE 07"),
              0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_setting_mtnadata \"c\" 4 \"a\" 3 7 [2560]"});
}

/* What an empty argument does not reach may as well be missing. */
TEST_F(TextHandlers, AnswerAnEmptyArgumentWithZeroWhateverTheHostWouldSay)
{
    HostAnswers answers;
    answers.result = -1;
    host.answer(answers);
    const struct {
        Handler handler;
        const char *request;
        const char *reply;
    } cases[] = {{handle_set_tv_code3001, "34 12 EE EE 00 00", "08 01 30 00"},
                 {handle_set_tv_code0115, "34 12 EE EE 07 00 EE 00 00", "08 15 01 00"},
                 {handle_set_tv_code0116, "34 12 EE 00 00", "08 16 01 00"},
                 {handle_set_tv_code0117, "34 12 EE 00 00 00 00", "08 17 01 00"}};
    for (const auto &each : cases) {
        EXPECT_EQ(ask(each.handler, each.request), 0);
        EXPECT_EQ(phone.received(), frame_around(each.reply));
    }
    host.withdraw();
    for (const auto &each : cases) {
        EXPECT_EQ(ask(each.handler, each.request), 0);
        EXPECT_EQ(phone.received(), frame_around(each.reply));
    }
    EXPECT_TRUE(host.calls().empty());
}

/* ---- The name */

std::string whole_name()
{
    return quoted(gTvName, sizeof gTvName);
}

std::string name_buffer(const std::string &name)
{
    std::string buffer = name;
    buffer.resize(IDENTITY_SIZE, '\0');
    return quoted(buffer.data(), buffer.size());
}

TEST_F(TextHandlers, SetNameTakesTheNameOverWhateverTheHostSays)
{
    for (const int result : {0, 1, -1, 300}) {
        HostAnswers answers;
        answers.result = result;
        host.answer(answers);
        set_identity("an earlier, longer name", "SN");
        EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 03 00 'new'"), 0);
        EXPECT_EQ(whole_name(), name_buffer("new")) << result;
        EXPECT_STREQ(gTvSN, "SN");
    }
    EXPECT_EQ(ask(handle_set_tv_name, joined({bytes("08 01 EE EE FF 00"), Bytes(255, 'n')})), 0);
    EXPECT_EQ(whole_name(), name_buffer(std::string(255, 'n')));
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 00 00"), 0);
    EXPECT_EQ(whole_name(), name_buffer(""));
}

TEST_F(TextHandlers, SetNameKeepsTheOldNameWhenTheHostIsNotCalled)
{
    set_identity("old", "");
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 04 00 'new'"), -1);
    EXPECT_EQ(whole_name(), name_buffer("old"));
    EXPECT_EQ(ask(handle_set_tv_name, joined({bytes("08 01 EE EE 00 01"), Bytes(256, 'n')})), -1);
    EXPECT_EQ(whole_name(), name_buffer("old"));
    host.leave_out(34);
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 03 00 'new'"), 0);
    EXPECT_EQ(whole_name(), name_buffer("old"));
    host.withdraw();
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 03 00 'new'"), 0);
    EXPECT_EQ(whole_name(), name_buffer("old"));
}

TEST_F(TextHandlers, SetNameIsSeenByTheQueriesAfterIt)
{
    set_identity("old", "SN");
    EXPECT_EQ(ask(handle_set_tv_name, "08 01 EE EE 03 00 'new'"), 0);
    phone.received();
    EXPECT_EQ(ask(tv_get, "05 01 01 0B 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 01 0B 08 03 00 'new'"));
    EXPECT_EQ(ask(tv_get, "05 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 07"
                                             " 01 0B 08 03 00 'new'"
                                             " 03 0B 08 02 00 'SN'"
                                             " 00 0B 02 01"
                                             " 01 00 02 01"
                                             " 0A 0B 08 00 00"
                                             " 15 20 06 00 04 00 00"
                                             " 16 20 06 58 02 00 00"));
}

TEST_F(TextHandlers, GetNameSendsNamesOfEveryLength)
{
    for (const size_t length : {size_t{0}, size_t{1}, size_t{255}}) {
        set_identity(std::string(length, 'n'), "");
        const std::string size = hex(Bytes{static_cast<uint8_t>(length), 0});
        EXPECT_EQ(ask(tv_get, "05 01 01 0B 00"), 0);
        EXPECT_EQ(phone.received(),
                  frame_around("06 01 01 0B 08 " + size + characters(length, 'n')));
    }
}

TEST_F(TextHandlers, GetNameSendsTheEmptyReplyWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(ask(handle_get_tv_name, "01 01 0B"), -1);
    EXPECT_EQ(phone.received(), frame_around("06 01 01 0B"));
}

/* ---- The text */

TEST_F(TextHandlers, GetTextSendsWhatTheHostWrites)
{
    HostAnswers answers;
    EXPECT_EQ(ask(handle_get_tv_text, "01 12 01"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01 08 00 00"));

    answers.text = std::string(255, 't');
    host.answer(answers);
    EXPECT_EQ(ask(handle_get_tv_text, "01 12 01"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01 08 FF 00 " + characters(255, 't')));

    answers.text = "ab";
    answers.terminated = false; /* the buffer is zeroed */
    host.answer(answers);
    EXPECT_EQ(ask(handle_get_tv_text, "01 12 01"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01 08 02 00 'ab'"));
}

TEST_F(TextHandlers, GetTextEndsATextThatTheHostHasNot)
{
    HostAnswers answers;
    answers.text = std::string(256, 't');
    answers.terminated = false;
    host.answer(answers);
    EXPECT_EQ(ask(handle_get_tv_text, "01 12 01"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01 08 00 01 " + characters(256, 't')));
}

TEST_F(TextHandlers, GetTextSendsTheEmptyReplyWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(ask(handle_get_tv_text, "01 12 01"), -1);
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01"));
}

/* ---- The order of the channels */

class ChannelOrder : public AskedTelevision
{
protected:
    int ask_order(const std::vector<uint32_t> &outs, const Bytes &data, bool null_data = false)
    {
        HostAnswers answers;
        answers.outs = outs;
        answers.data = data;
        answers.null_data = null_data;
        host.answer(answers);
        const int result = ask(handle_get_tv_order, "01 07 20");
        EXPECT_EQ(host.calls(), Lines{"get_tv_order *0 *0"});
        return result;
    }
};

TEST_F(ChannelOrder, SendsCountAndData)
{
    EXPECT_EQ(ask_order({0xFFFE, 3}, bytes("0A 0B 0C")), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20 A2 05 00 00 00 FE FF 0A 0B 0C"));
}

TEST_F(ChannelOrder, SendsManyBytes)
{
    EXPECT_EQ(ask_order({0x1234, 70000}, Bytes(70000, 'o')), 0);
    EXPECT_TRUE(phone.received() ==
                frame_around("06 01 07 20 A2 72 11 01 00 34 12 " + characters(70000, 'o')));
}

TEST_F(ChannelOrder, SendsZerosForDataThatIsNull)
{
    EXPECT_EQ(ask_order({2, 4}, {}, true), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20 A2 06 00 00 00 02 00 00 00 00 00"));
}

TEST_F(ChannelOrder, SendsWhatTheHostLeavesAloneAsZero)
{
    EXPECT_EQ(ask_order({}, {}, true), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20 A2 02 00 00 00 00 00"));
    EXPECT_EQ(ask_order({}, bytes("01 02")), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20 A2 02 00 00 00 00 00"));
}

TEST_F(ChannelOrder, SendsTheEmptyReplyForMoreThanAFrameCanHold)
{
    for (const uint32_t size :
         {0x7FFFFFAEu, 0x7FFFFFFFu, 0xFFFFFFF6u, 0xFFFFFFFAu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        EXPECT_EQ(ask_order({1, size}, bytes("01 02")), -1) << size;
        EXPECT_EQ(phone.received(), frame_around("06 01 07 20")) << size;
        EXPECT_EQ(ask_order({1, size}, {}, true), -1) << size;
        EXPECT_EQ(phone.received(), frame_around("06 01 07 20")) << size;
    }
}

TEST_F(ChannelOrder, SendsTheEmptyReplyWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM);
    EXPECT_EQ(ask_order({1, 2}, bytes("01 02")), -1);
    EXPECT_EQ(memory.calls(), 2); /* one that failed, one for the frame of the empty reply */
    EXPECT_EQ(phone.received(), frame_around("06 01 07 20"));
}

} // namespace
