/* SPDX-License-Identifier: MIT */
#include "tvlink/string_rpc.h"

#include "support/asked_television.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"

#include <cerrno>

namespace
{

/* What the host's function answers, and what it was given last. */
struct Function {
    int result;
    std::string answer;
    bool terminated;
    std::string request;
    std::string buffer;
    int calls;
};
Function function;

int answer_request(char *answer, const char *request)
{
    function.calls++;
    function.request = request;
    function.buffer.assign(answer, IPP_RPC_ANSWER_SIZE);
    function.answer.copy(answer, function.answer.size());
    if (function.terminated) {
        answer[function.answer.size()] = '\0';
    }
    return function.result;
}

class StringRpc : public AskedTelevision
{
protected:
    StringRpc()
    {
        function = {1, "answer", true, "", "", 0};
        tv_ippRpcFunSet = answer_request;
    }
};

TEST_F(StringRpc, SendsTheAnswerAndAZeroBehindIt)
{
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 06 00 'answer' 00"));
    EXPECT_EQ(function.request, "hi");
    EXPECT_EQ(function.calls, 1);
}

TEST_F(StringRpc, SendsSixteenBytesForAnAnswerOfTen)
{
    function.answer = "0123456789";
    EXPECT_EQ(ask(tv_ippRpc, "21 04 50 08 02 00 'hi'"), 0);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 0A 00 '0123456789' 00"));
}

TEST_F(StringRpc, SendsAnEmptyAnswer)
{
    function.answer = "";
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 00 00 00"));
}

TEST_F(StringRpc, GivesTheHostAZeroedBuffer)
{
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 00 00"), 1);
    EXPECT_EQ(function.buffer, std::string(2560, '\0'));
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 00 00"), 1);
    EXPECT_EQ(function.buffer, std::string(2560, '\0'));
}

TEST_F(StringRpc, DoesNotLookAtTheTagNorAtWhatFollows)
{
    EXPECT_EQ(ask(handle_methodString, "21 04 50 EE 02 00 'hi!!' FF"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 06 00 'answer' 00"));
    EXPECT_EQ(function.request, "hi");
}

TEST_F(StringRpc, HandsOverAnEmptyText)
{
    function.request = "unset";
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 00 00"), 1);
    EXPECT_EQ(function.request, "");
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 06 00 'answer' 00"));
}

TEST_F(StringRpc, HandsOverTheLongestText)
{
    const Bytes body = joined({bytes("21 04 50 08 FF FF"), Bytes(65535, 'x'), bytes("FF FF")});
    EXPECT_EQ(ask(handle_methodString, body), 1);
    EXPECT_EQ(function.request, std::string(65535, 'x'));
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 06 00 'answer' 00"));
}

TEST_F(StringRpc, SendsTheLongestAnswer)
{
    function.answer = std::string(2559, 'a');
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 00 00"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 FF 09 " + characters(2559, 'a') + " 00"));
}

TEST_F(StringRpc, EndsAnAnswerThatTheHostHasNot)
{
    function.answer = std::string(2560, 'a');
    function.terminated = false;
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 00 00"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 00 0A " + characters(2560, 'a') + " 00"));
}

TEST_F(StringRpc, IsSilentUnlessTheHostReturnsOne)
{
    for (const int result : {0, -1, 2, 256, 257, INT32_MIN}) {
        function.result = result;
        EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), -11) << result;
        EXPECT_EQ(ask(tv_ippRpc, "21 04 50 08 02 00 'hi'"), 0) << result;
        EXPECT_EQ(phone.received(), "") << result;
    }
    EXPECT_EQ(function.calls, 12);
}

TEST_F(StringRpc, IsSilentWithoutAFunctionOfTheHost)
{
    tv_ippRpcFunSet = nullptr;
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), -11);
    EXPECT_EQ(ask(tv_ippRpc, "21 04 50 08 02 00 'hi'"), 0);
    EXPECT_EQ(phone.received(), "");
}

TEST_F(StringRpc, NeedsNoMethodTable)
{
    host.withdraw();
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), 1);
    EXPECT_EQ(phone.received(), frame_around("22 04 50 01 06 00 'answer' 00"));
}

TEST_F(StringRpc, IsSilentWhenTheBodyEndsTooEarly)
{
    const Bytes whole = bytes("21 04 50 08 02 00 'hi'");
    for (size_t size = 0; size < whole.size(); size++) {
        EXPECT_EQ(ask(handle_methodString, first_bytes(whole, size)), -1) << size;
        EXPECT_EQ(ask(tv_ippRpc, first_bytes(whole, size)), size == 0 ? -1 : 0) << size;
    }
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 FF FF 'hi'"), -1);
    EXPECT_EQ(handle_methodString(phone.record(), given.data(), -1), -1);
    EXPECT_EQ(handle_methodString(phone.record(), nullptr, 8), -1);
    EXPECT_EQ(phone.received(), "");
    EXPECT_EQ(function.calls, 0);
}

TEST_F(StringRpc, IsSilentWithTheCodesBesideItsOwn)
{
    for (const char *body : {"21 05 50 08 02 00 'hi'", "21 03 50 08 02 00 'hi'",
                             "21 04 51 08 02 00 'hi'", "21 50 04 08 02 00 'hi'"}) {
        EXPECT_EQ(ask(tv_ippRpc, body), 0) << body;
    }
    EXPECT_EQ(phone.received(), "");
    EXPECT_EQ(function.calls, 0);
}

TEST_F(StringRpc, IsSilentWhenMemoryIsOut)
{
    WatchedCall memory(system_calloc);
    memory.fail(ENOMEM, 1); /* for the request */
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), -10);
    EXPECT_EQ(function.calls, 0);
    memory.fail(ENOMEM, 2); /* for the answer */
    EXPECT_EQ(ask(handle_methodString, "21 04 50 08 02 00 'hi'"), -10);
    EXPECT_EQ(function.calls, 1);
    EXPECT_EQ(phone.received(), "");
}

} // namespace
