/* SPDX-License-Identifier: MIT */
#include "tvlink/dispatch.h"

#include "handler_rows.h"

#include <set>

namespace
{

class Dispatch : public AskedTelevision
{
protected:
    Dispatch()
    {
        refuse_bad_tags();
        tv_ippRpcFunSet = [](char *, const char *) { return 1; };
        HostAnswers answers;
        answers.null_data = true; /* no image: nobody would fetch it */
        host.answer(answers);
    }

    std::set<unsigned> reached_codes(Handler dispatcher, const char *before, const char *behind);

    /* Whether a body reaches anything at all. */
    bool reaches(Handler dispatcher, const Bytes &body)
    {
        EXPECT_EQ(ask(dispatcher, body), 0);
        const bool called = !host.calls().empty();
        return !phone.received().empty() || called;
    }
};

Bytes body_with_code(const char *before, unsigned code, const char *behind)
{
    return joined({bytes(before),
                   {static_cast<uint8_t>(code), static_cast<uint8_t>(code >> 8)},
                   bytes(behind)});
}

/* The codes of all with which the body reaches something. A block of codes that reach nothing is
 * looked at once. */
std::set<unsigned> Dispatch::reached_codes(Handler dispatcher, const char *before,
                                           const char *behind)
{
    const unsigned block = 256;
    std::set<unsigned> reached;
    for (unsigned first = 0; first <= 0xFFFF; first += block) {
        Bytes body = body_with_code(before, first, behind);
        uint8_t *code = body.data() + bytes(before).size();
        for (unsigned low = 0; low < block; low++) {
            code[0] = static_cast<uint8_t>(low);
            EXPECT_EQ(ask(dispatcher, body), 0);
        }
        const bool called = !host.calls().empty();
        const bool any = !phone.received().empty() || called;
        for (unsigned low = 0; low < block && any; low++) {
            code[0] = static_cast<uint8_t>(low);
            if (reaches(dispatcher, body)) {
                reached.insert(first + low);
            }
        }
    }
    return reached;
}

TEST_F(Dispatch, RefusesWhatIsNoBody)
{
    uint8_t body[] = {0x07, 0x09, 0x01};
    for (const Handler dispatcher : {tv_set, tv_get, tv_ippRpc}) {
        EXPECT_EQ(dispatcher(nullptr, body, 3), -1);
        EXPECT_EQ(dispatcher(phone.record(), nullptr, 3), -1);
        EXPECT_EQ(dispatcher(phone.record(), body, 0), -1);
        EXPECT_EQ(dispatcher(phone.record(), body, -1), -1);
        EXPECT_EQ(dispatcher(phone.record(), body, INT32_MIN), -1);
    }
    EXPECT_EQ(phone.received(), "");
    EXPECT_TRUE(host.calls().empty());
}

TEST_F(Dispatch, AcceptsABodyThatEndsBeforeItsCodeAndIsSilent)
{
    const struct {
        Handler dispatcher;
        const char *body;
    } cases[] = {{tv_set, "07"},       {tv_set, "07 09"}, {tv_get, "05"},    {tv_get, "05 01"},
                 {tv_get, "05 01 01"}, {tv_ippRpc, "21"}, {tv_get, "05 02"}, {tv_ippRpc, "21 04"}};
    for (const auto &each : cases) {
        EXPECT_EQ(ask(each.dispatcher, each.body), 0) << each.body;
        EXPECT_EQ(phone.received(), "") << each.body;
        EXPECT_TRUE(host.calls().empty()) << each.body;
    }
}

/* The codes of the literal requests by which the handlers are tested. */
std::set<unsigned> tested_codes(Reached reached, size_t code_at)
{
    std::set<unsigned> codes;
    for (const HandlerRow &row : handler_rows()) {
        const Bytes request = bytes(row.request);
        const bool silent = row.reply.empty() && *row.call == '\0';
        if (row.reached == reached && !silent) {
            codes.insert(request[code_at] + 256u * request[code_at + 1]);
        }
    }
    return codes;
}

TEST_F(Dispatch, KnowsTheTestedSetCodesAndNoOthers)
{
    const std::set<unsigned> reached =
        reached_codes(tv_set, "07", "02 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(reached, tested_codes(Reached::BY_SET, 0));
    EXPECT_EQ(reached.size(), 21u);
}

TEST_F(Dispatch, KnowsTheTestedGetCodesAndNoOthers)
{
    std::set<unsigned> known = tested_codes(Reached::BY_GET, 1);
    known.insert(0x0118); /* the capture, which has a suite of its own */
    EXPECT_EQ(reached_codes(tv_get, "05 01", "00 00 00 00 00 00 00 00"), known);
}

TEST_F(Dispatch, KnowsOneCodeOfStringCalls)
{
    EXPECT_EQ(reached_codes(tv_ippRpc, "21", "08 00 00"), std::set<unsigned>{0x5004});
}

TEST_F(Dispatch, IgnoresEveryOtherCallKind)
{
    for (unsigned kind = 2; kind <= 0xFF; kind++) {
        Bytes body = bytes("05 FF 12 01 00 00 00 00");
        body[1] = static_cast<uint8_t>(kind);
        EXPECT_FALSE(reaches(tv_get, body)) << kind;
    }
}

TEST_F(Dispatch, AnswersTheDeviceInformationWhateverFollows)
{
    EXPECT_EQ(ask(tv_get, "05 00"), 0);
    const std::string information = phone.received();
    EXPECT_EQ(host.calls(), Lines{"get_device_info [256]"});
    for (const char *body :
         {"05 00 01", "05 00 12 01", "05 00 01 0B 00", "05 00 07 20 'anything'"}) {
        EXPECT_EQ(ask(tv_get, body), 0) << body;
        EXPECT_EQ(phone.received(), information) << body;
        EXPECT_EQ(host.calls(), Lines{"get_device_info [256]"}) << body;
    }
}

TEST_F(Dispatch, TellsGetAndSetApartByTheirFrameTypeAlone)
{
    EXPECT_EQ(ask(tv_set, "07 12 01 EE EE 01 00 'a' EE 01 00 'b'"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_textpair \"b\" \"a\""});
    EXPECT_EQ(phone.received(), frame_around("08 12 01 00"));
    EXPECT_EQ(ask(tv_get, "05 01 12 01 00"), 0);
    EXPECT_EQ(host.calls(), Lines{"get_tv_text [256]"});
    EXPECT_EQ(phone.received(), frame_around("06 01 12 01 08 00 00"));
}

TEST_F(Dispatch, IgnoresTheResultsOfHandlers)
{
    EXPECT_EQ(ask(tv_set, "07 09 01"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 09 01 FF"));
    EXPECT_EQ(ask(tv_ippRpc, "21 04 50 08 05 00 'ab'"), 0);
    EXPECT_EQ(phone.received(), "");
}

} // namespace
