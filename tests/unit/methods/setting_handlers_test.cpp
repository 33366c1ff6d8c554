/* SPDX-License-Identifier: MIT */
/* Settings, accounts and lists: which form their answers have, and when they are sent. */
#include "support/asked_television.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

namespace
{

/* For slots of the tests' own. */
HostConnection *asking;
std::string sent_before;

class SettingHandlers : public AskedTelevision
{
protected:
    SettingHandlers()
    {
        asking = &phone;
    }

    void host_returns(int result)
    {
        HostAnswers answers;
        answers.result = result;
        host.answer(answers);
    }
};

TEST_F(SettingHandlers, AnswerTheseSettersLikeAQuery)
{
    host_returns(-2);
    EXPECT_EQ(ask(handle_set_tv_install_apklist, "34 12 08 01 00 'a' 05 00 00 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 34 12 06 FE FF FF FF"));
    EXPECT_EQ(ask(handle_set_tv_nick_name, "35 12 08 01 00 'a' 05 00 00 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 35 12 06 FE FF FF FF"));
    EXPECT_EQ(ask(handle_set_tv_current_position, "36 12 08 01 00 'a'"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 36 12 06 FE FF FF FF"));
    EXPECT_EQ(ask(tv_set, "07 08 40 EE EE EE 05 00"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 08 40"));
    EXPECT_EQ(ask(tv_set, "07 08 40 EE EE EE 00 00 00 00 EE 02"), 0);
    EXPECT_EQ(phone.received(), frame_around("06 01 08 40 08 00 00"));
}

/* Nothing stays behind of the replies: the leak checker watches. */
TEST_F(SettingHandlers, AnswerManySettersInARow)
{
    for (int i = 0; i < 1000; i++) {
        EXPECT_EQ(ask(handle_set_tv_install_apklist, "34 12 08 01 00 'a' 05 00 00 00"), 0);
        EXPECT_EQ(ask(handle_set_tv_nick_name, "35 12 08 01 00 'a' 05 00 00 00"), 0);
        EXPECT_EQ(ask(handle_set_tv_current_position, "36 12 08 01 00 'a'"), 0);
        phone.received();
    }
}

TEST_F(SettingHandlers, ReadTheNumberRightBehindTheText)
{
    EXPECT_EQ(ask(handle_set_tv_install_apklist, "34 12 08 00 00 05 00 00 00 'rest'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_install_apklist \"\" 5"});
    EXPECT_EQ(ask(handle_set_tv_nick_name, "34 12 08 03 00 'abc' FF FF FF FF"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_nick_name \"abc\" 4294967295"});
}

TEST_F(SettingHandlers, ShutDownBeforeTheReply)
{
    TvMethodTable table = {};
    table.set_tv_shut_down = [] {
        sent_before = "nothing" + asking->received();
        return -1;
    };
    register_tv_method(&table);
    EXPECT_EQ(ask(handle_set_tv_shut_down, "34 12"), 0);
    host.come_back();
    EXPECT_EQ(sent_before, "nothing");
    EXPECT_EQ(phone.received(), frame_around("08 34 12 00"));
}

TEST_F(SettingHandlers, TakeNoNoticeOfResultsBesideAnAnswer)
{
    HostAnswers answers;
    answers.text = "told";
    answers.outs = {0xFFFFFFFF};
    for (const int result : {-1, 0, 1, INT32_MIN}) {
        answers.result = result;
        host.answer(answers);
        EXPECT_EQ(ask(tv_get, "05 01 0B 40 01 00 00 01 00 'q'"), 0);
        EXPECT_EQ(phone.received(), frame_around("06 01 0B 40 08 04 00 'told'"));
        EXPECT_EQ(ask(tv_get, "05 01 0A 40 01 00 00 01 00 'q'"), 0);
        EXPECT_EQ(phone.received(), frame_around("06 01 0A 40 06 FF FF FF FF"));
        EXPECT_EQ(ask(tv_set, "07 08 40 EE EE EE 00 00 00 00 EE 00"), 0);
        EXPECT_EQ(phone.received(), frame_around("06 01 08 40 08 04 00 'told'"));
    }
}

TEST_F(SettingHandlers, SendZeroForANumberThatTheHostLeavesAlone)
{
    EXPECT_EQ(ask(tv_get, "05 01 0A 40 01 00 00 01 00 'q'"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_tv_code400a *0 \"q\""});
    EXPECT_EQ(phone.received(), frame_around("06 01 0A 40 06 00 00 00 00"));
}

TEST_F(SettingHandlers, PassTheLongestPairsOfTextsOn)
{
    const std::string a(65535, 'a');
    const std::string b(65535, 'b');
    EXPECT_EQ(ask(handle_set_tv_show_phone_connect, "34 12 FF FF '" + a + "' FF FF '" + b + "'"),
              0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_show_phone_connect \"" + a + "\" \"" + b + "\""});
    EXPECT_EQ(
        ask(handle_set_tv_vod_vt_str, "34 12 EE EE 07 EE FF FF '" + a + "' EE FF FF '" + b + "'"),
        0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_vod_vt_str 7 \"" + a + "\" \"" + b + "\""});
    EXPECT_EQ(phone.received(), frame_around("08 34 12 00") + " " + frame_around("08 34 12 00"));
}

} // namespace
