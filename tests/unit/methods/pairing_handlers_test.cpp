/* SPDX-License-Identifier: MIT */
#include "support/asked_television.h"
#include "tvlink/handlers.h"

namespace
{

using Login = AskedTelevision;

const char *const LOGIN =
    "23 01 EE EE 01 00 'a' EE 02 00 'bb' EE 00 00 EE 01 00 'd' EE 03 00 'eee'";

TEST_F(Login, WritesTheHostsResultIntoTheRequestAndSendsZero)
{
    const struct {
        int result;
        const char *byte;
    } cases[] = {{0, "00"}, {1, "01"}, {-1, "FF"}, {-2, "FE"}, {256, "00"}, {300, "2C"}};
    for (const auto &each : cases) {
        HostAnswers answers;
        answers.result = each.result;
        host.answer(answers);
        EXPECT_EQ(ask(handle_set_tv_loginfromtv, LOGIN), 0);
        Bytes expected = bytes(LOGIN);
        expected[3] = bytes(each.byte)[0];
        EXPECT_EQ(hex(given), hex(expected));
        EXPECT_EQ(phone.received(), frame_around("08 23 01 00"));
    }
}

TEST_F(Login, LeavesTheRequestAloneWhenTheHostIsNotCalled)
{
    const Bytes whole = bytes(LOGIN);
    for (size_t size = 0; size < whole.size(); size++) {
        EXPECT_EQ(ask(handle_set_tv_loginfromtv, first_bytes(whole, size)), -1);
        EXPECT_EQ(hex(given), hex(first_bytes(whole, size)));
    }
    host.leave_out(22);
    EXPECT_EQ(ask(handle_set_tv_loginfromtv, LOGIN), 0);
    EXPECT_EQ(hex(given), hex(whole));
    host.withdraw();
    EXPECT_EQ(ask(handle_set_tv_loginfromtv, LOGIN), 0);
    EXPECT_EQ(hex(given), hex(whole));
}

TEST_F(Login, PrintsItsCodeAndTheFirstLength)
{
    EXPECT_EQ(ask(handle_set_tv_loginfromtv, LOGIN), 0);
    EXPECT_EQ(lines.out(), (Lines{"handle_set_tv_loginfromtv 2155 attribid 291 \n",
                                  "handle_set_tv_loginfromtv 2167 len 1 \n"}));
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(Login, PrintsOnStandardOutput)
{
    ipp_set_log_sink(nullptr, nullptr);
    const CapturedStreams streams;
    EXPECT_EQ(ask(handle_set_tv_loginfromtv, "CD AB EE EE FE FF"), -1);
    EXPECT_EQ(streams.out(), "handle_set_tv_loginfromtv 2155 attribid 43981 \n"
                             "handle_set_tv_loginfromtv 2167 len 65534 \n");
    EXPECT_EQ(streams.err(), "");
}

TEST_F(Login, PrintsWhatIsThereOfARequestThatEndsTooEarly)
{
    const std::string code_line = "handle_set_tv_loginfromtv 2155 attribid 291 \n";
    ask(handle_set_tv_loginfromtv, "23 01 EE EE 05 00");
    EXPECT_EQ(lines.out(), (Lines{code_line, "handle_set_tv_loginfromtv 2167 len 5 \n"}));
    lines.clear();
    ask(handle_set_tv_loginfromtv, "23 01 EE EE 05");
    EXPECT_EQ(lines.out(), Lines{code_line});
    lines.clear();
    ask(handle_set_tv_loginfromtv, "23");
    EXPECT_TRUE(lines.out().empty());
}

using PairingHandlers = AskedTelevision;

TEST_F(PairingHandlers, PrintNothingElse)
{
    ask(handle_set_tv_bind, "34 12");
    ask(handle_set_tv_showphone, "21 01 08 03 00 'tel'");
    ask(handle_set_tv_voddetails, "22 01 EE 02 00 'ab' EE 03 00 'cde'");
    EXPECT_TRUE(lines.all().empty());
}

} // namespace
