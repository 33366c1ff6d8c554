/* SPDX-License-Identifier: MIT */
#include "controlpoint_calls.h"
#include "cp_scripted_television.h"
#include "support/wait_until.h"

#include <atomic>

#include <sys/ioctl.h>

namespace
{

using namespace cp_test;

/* Answers each request with the next of these byte rows, whatever it asks. */
std::function<void(const Peer &)> answering(std::vector<Bytes> answers)
{
    return [answers = std::move(answers)](const Peer &peer) {
        for (const Bytes &answer : answers) {
            peer.receive_frame();
            peer.send(answer);
        }
        peer.wait_until_gone();
    };
}

/* Keeps what was handed over while a reply was awaited. */
struct Others {
    explicit Others(const Phone &phone)
    {
        cp_on_other_frame(phone.connection, take, this);
    }

    static void take(const CpFrame *frame, void *context)
    {
        static_cast<Others *>(context)->frames.push_back(Bytes{frame->type} +
                                                         taken(frame->payload));
    }

    std::vector<Bytes> frames;
};

/* A get request for the name, its reply as bytes. */
CpStatus ask_name(const Phone &phone, std::string *name, uint32_t timeout_ms = patience_ms)
{
    Built request;
    EXPECT_EQ(cp_build_get(&request.buffer, CP_CODE_NAME, nullptr, 0), CP_OK);
    CpGetReply reply = {};
    const CpStatus status = cp_get(phone.connection, &request.buffer, &reply, timeout_ms);
    *name = text_of(reply.value.bytes);
    return status;
}

CpStatus press_key(const Phone &phone, CpSetReply *reply)
{
    Built request;
    EXPECT_EQ(cp_build_key(&request.buffer, 1, 2), CP_OK);
    return cp_set(phone.connection, &request.buffer, reply, patience_ms);
}

const Bytes name_reply = frame_bytes(6, {1, 0x01, 0x0B, 0x08, 2, 0, 'T', 'V'});
const Bytes key_reply = frame_bytes(8, {0x09, 0x01, 0x2A});
const Bytes event_frame = frame_bytes(9, small_event());
const Bytes heartbeat_frame = frame_bytes(0xEE, text_bytes("HEART"));

TEST(ControlPointRequest, IsSentWholeAndAnswered)
{
    Bytes seen;
    {
        const ScriptedTelevision television([&](const Peer &peer) {
            seen = peer.receive_frame();
            peer.send(name_reply);
            peer.wait_until_gone();
        });
        const Phone phone(television);
        std::string name;
        EXPECT_EQ(ask_name(phone, &name), CP_OK);
        EXPECT_EQ(name, "TV");
    }
    EXPECT_EQ(seen, frame_bytes(5, {1, 0x01, 0x0B, 0}));
}

TEST(ControlPointRequest, SkipsAndHandsOverWhatIsNotItsReply)
{
    const ScriptedTelevision television(
        answering({event_frame + heartbeat_frame + event_frame + name_reply + heartbeat_frame}));
    const Phone phone(television);
    Others others(phone);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    EXPECT_EQ(name, "TV");
    const std::vector<Bytes> expected = {
        Bytes{9} + small_event(), Bytes{0xEE} + text_bytes("HEART"), Bytes{9} + small_event()};
    EXPECT_EQ(others.frames, expected);
    CpFrame frame = {};
    EXPECT_EQ(cp_receive(phone.connection, &frame, patience_ms), CP_OK);
    EXPECT_EQ(frame.type, CP_FRAME_HEARTBEAT);
}

TEST(ControlPointRequest, DropsOtherFramesWhenNobodyWantsThem)
{
    const ScriptedTelevision television(answering({event_frame + name_reply}));
    const Phone phone(television);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
}

TEST(ControlPointRequest, IsNotAnsweredByTheLateReplyToAnother)
{
    const Bytes late = frame_bytes(6, {1, 0x12, 0x01, 0x08, 1, 0, 'x'});
    const Bytes other_kind = frame_bytes(8, {0x01, 0x0B, 0x00});
    const Bytes rpc = frame_bytes(0x22, {0x01, 0x0B, 1, 0, 0, 0});
    const ScriptedTelevision television(answering({late + other_kind + rpc + name_reply}));
    const Phone phone(television);
    Others others(phone);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    EXPECT_EQ(name, "TV");
    EXPECT_EQ(others.frames.size(), 3U);
}

TEST(ControlPointRequest, OfTypeSetGetsASetReply)
{
    const ScriptedTelevision television(answering({event_frame + key_reply}));
    const Phone phone(television);
    CpSetReply reply = {};
    EXPECT_EQ(press_key(phone, &reply), CP_OK);
    EXPECT_EQ(reply.code, CP_CODE_KEY);
    EXPECT_EQ(reply.result, 0x2A);
}

TEST(ControlPointRequest, OfTypeSetMayGetAGetReply)
{
    const Bytes answer = frame_bytes(6, {1, 0x08, 0x40, 0x08, 1, 0, 'y'});
    const ScriptedTelevision television(answering({answer, answer}));
    const Phone phone(television);
    Built request;
    ASSERT_EQ(cp_build_set(&request.buffer, 0x4008, CP_LAYOUT_SINGLE, nullptr, 0), CP_OK);
    CpFrame frame = {};
    EXPECT_EQ(cp_request(phone.connection, CP_FRAME_SET, &request.buffer, &frame, patience_ms),
              CP_OK);
    EXPECT_EQ(frame.type, CP_FRAME_GET_REPLY);
    CpSetReply reply = {};
    EXPECT_EQ(cp_set(phone.connection, &request.buffer, &reply, patience_ms), CP_PROTOCOL);
}

TEST(ControlPointRequest, ForTheSecondStatusIsAnsweredUnderTheCodeOfTheFirst)
{
    const ScriptedTelevision television(answering(
        {frame_bytes(6, {1, 0x0F, 0x20, 0xA4, 1, 0, 0, 0, 9}), frame_bytes(6, {1, 0x21, 0x40})}));
    const Phone phone(television);
    Built request;
    ASSERT_EQ(cp_build_get(&request.buffer, 0x4021, nullptr, 0), CP_OK);
    CpGetReply reply = {};
    EXPECT_EQ(cp_get(phone.connection, &request.buffer, &reply, patience_ms), CP_OK);
    EXPECT_EQ(reply.code, 0x200F);
    EXPECT_EQ(cp_get(phone.connection, &request.buffer, &reply, patience_ms), CP_OK);
    EXPECT_TRUE(reply.empty);
}

/* One programme on channel 1, as it is pushed. */
const Bytes pushed_guide = frame_bytes(6, {1, 0x01, 0x20, 0xA3, 3, 0, 0, 0, 1, 0, 0xAA});

TEST(ControlPointRequest, IsNotAnsweredByAPushedList)
{
    const ScriptedTelevision television(
        answering({pushed_guide + name_reply, pushed_guide + key_reply}));
    const Phone phone(television);
    Others others(phone);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    EXPECT_EQ(name, "TV");
    CpSetReply reply = {};
    EXPECT_EQ(press_key(phone, &reply), CP_OK);
    EXPECT_EQ(reply.result, 0x2A);
    EXPECT_EQ(others.frames.size(), 2U);
}

TEST(ControlPointRequest, ForTheListThatIsPushedMeanwhileTakesEitherForTheAnswer)
{
    const ScriptedTelevision television(answering({pushed_guide + event_frame + pushed_guide}));
    const Phone phone(television);
    Built request;
    ASSERT_EQ(cp_build_get(&request.buffer, CP_CODE_GUIDE_NOW, nullptr, 0), CP_OK);
    CpGetReply reply = {};
    ASSERT_EQ(cp_get(phone.connection, &request.buffer, &reply, patience_ms), CP_OK);
    EXPECT_EQ(reply.value.count, 1);
    EXPECT_EQ(taken(reply.value.bytes), Bytes{0xAA});
}

TEST(ControlPointRequest, OfTypeSetIsNotAnsweredByTheLateReplyToAGetRequest)
{
    const Bytes position = frame_bytes(6, {1, 0x02, 0x15, 0x06, 9, 0, 0, 0});
    const Bytes sought = frame_bytes(8, {0x02, 0x15, 0});
    const ScriptedTelevision television(answering({position + sought}));
    const Phone phone(television);
    Others others(phone);
    Built request;
    ASSERT_EQ(cp_build_play_seek(&request.buffer, 5), CP_OK);
    CpSetReply reply = {};
    EXPECT_EQ(cp_set(phone.connection, &request.buffer, &reply, patience_ms), CP_OK);
    EXPECT_EQ(others.frames.size(), 1U);
}

TEST(ControlPointRequest, TimesOutOnSilenceAndCanBeAskedAgain)
{
    std::atomic<bool> timed_out{false};
    const ScriptedTelevision television([&](const Peer &peer) {
        peer.receive_frame();
        peer.send(event_frame);
        wait_until([&] { return timed_out.load(); });
        peer.receive_frame();
        peer.send(name_reply);
        peer.wait_until_gone();
    });
    const Phone phone(television);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name, 50), CP_TIMED_OUT);
    timed_out = true;
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    EXPECT_EQ(name, "TV");
}

struct SlowHandler {
    CpConnection *connection;
    int handled;
};

/* Slower than the events arrive: whenever it is done there is more. */
void handle_slowly(const CpFrame *, void *context)
{
    SlowHandler *handler = static_cast<SlowHandler *>(context);
    handler->handled++;
    wait_until([&] {
        int waiting = 0;
        return ioctl(cp_descriptor(handler->connection), FIONREAD, &waiting) != 0 || waiting > 0;
    });
}

TEST(ControlPointRequest, IsNotHeldUpByAFloodOfEvents)
{
    std::atomic<bool> over{false};
    const ScriptedTelevision television([&](const Peer &peer) {
        while (!over) {
            peer.send(event_frame);
        }
    });
    const Phone phone(television);
    SlowHandler handler = {phone.connection, 0};
    cp_on_other_frame(phone.connection, handle_slowly, &handler);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name, 50), CP_TIMED_OUT);
    EXPECT_GT(handler.handled, 0);
    over = true;
    CpFrame frame = {}; /* the television may be stuck in a send */
    while (cp_receive(phone.connection, &frame, patience_ms) == CP_OK) {
    }
}

TEST(ControlPointRequest, TellsATelevisionThatClosesInsteadOfAnswering)
{
    for (const Bytes &part : {Bytes{}, front_of(name_reply, 60)}) {
        const ScriptedTelevision television([&](const Peer &peer) {
            peer.receive_frame();
            peer.send(part);
        });
        const Phone phone(television);
        std::string name;
        EXPECT_EQ(ask_name(phone, &name), CP_CLOSED);
        EXPECT_STREQ(cp_problem(phone.connection),
                     part.empty() ? "" : "it closed in the middle of a frame");
    }
}

TEST(ControlPointRequest, RefusesAReplyTooShortForAMethodCode)
{
    const ScriptedTelevision television(answering({frame_bytes(6, {1, 0x01})}));
    const Phone phone(television);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_PROTOCOL);
    EXPECT_STREQ(cp_problem(phone.connection), "a reply without a method code");
}

TEST(ControlPointRequest, RefusesAReplyThatCannotBeDecoded)
{
    const ScriptedTelevision television(answering(
        {frame_bytes(6, {1, 0x01, 0x0B, 0x77}), frame_bytes(8, {0x09, 0x01, 0, 0}), name_reply}));
    const Phone phone(television);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_PROTOCOL);
    EXPECT_STREQ(cp_problem(phone.connection), "a reply that cannot be decoded");
    CpSetReply reply = {};
    EXPECT_EQ(press_key(phone, &reply), CP_PROTOCOL);
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    EXPECT_STREQ(cp_problem(phone.connection), "");
}

TEST(ControlPointRequest, RefusesAFrameWithAWrongChecksum)
{
    Bytes wrong = name_reply;
    wrong.back()++;
    const ScriptedTelevision television(answering({wrong}));
    const Phone phone(television);
    std::string name;
    EXPECT_EQ(ask_name(phone, &name), CP_PROTOCOL);
    EXPECT_STREQ(cp_problem(phone.connection), "bad checksum");
}

TEST(ControlPointRequest, RefusesRequestsToWhichNoReplyBelongs)
{
    const ScriptedTelevision television([](const Peer &peer) { peer.wait_until_gone(); });
    const Phone phone(television);
    Built request;
    CpFrame frame = {};
    EXPECT_EQ(cp_request(phone.connection, CP_FRAME_GET, &request.buffer, &frame, 1),
              CP_BAD_ARGUMENT);
    ASSERT_EQ(cp_build_get(&request.buffer, 1, nullptr, 0), CP_OK);
    EXPECT_EQ(cp_request(phone.connection, CP_FRAME_NO_OP, &request.buffer, &frame, 1),
              CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_request(nullptr, CP_FRAME_GET, &request.buffer, &frame, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_request(phone.connection, CP_FRAME_GET, nullptr, &frame, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_request(phone.connection, CP_FRAME_GET, &request.buffer, nullptr, 1),
              CP_BAD_ARGUMENT);
}

TEST(ControlPointRequest, ForTheDeviceInformationNeedsNoMethodCode)
{
    const Bytes answer = frame_bytes(6, {1, 0x01, 0x0B, 0x08, 2, 0, 'T', 'V'});
    Bytes seen;
    {
        const ScriptedTelevision television([&](const Peer &peer) {
            seen = peer.receive_frame();
            peer.send(event_frame + key_reply + pushed_guide + answer);
            peer.wait_until_gone();
        });
        const Phone phone(television);
        Others others(phone);
        CpDeviceInfo info = {};
        ASSERT_EQ(cp_device_info(phone.connection, &info, patience_ms), CP_OK);
        EXPECT_EQ(text_of(info.name), "TV");
        EXPECT_EQ(others.frames.size(), 3U);
    }
    EXPECT_EQ(seen, frame_bytes(5, {0}));
}

TEST(ControlPointRequest, OfTypeRpcGetsItsAnswer)
{
    Bytes seen;
    {
        const ScriptedTelevision television([&](const Peer &peer) {
            seen = peer.receive_frame();
            peer.send(event_frame + frame_bytes(0x22, {0x04, 0x50, 1, 2, 0, 'o', 'k', 0}));
            peer.wait_until_gone();
        });
        const Phone phone(television);
        CpRpcReply reply = {};
        ASSERT_EQ(cp_string_rpc(phone.connection, cp_text("?"), &reply, patience_ms), CP_OK);
        EXPECT_EQ(text_of(reply.text), "ok");
    }
    EXPECT_EQ(seen, frame_bytes(0x21, {0x04, 0x50, 0x08, 1, 0, '?'}));
}

TEST(ControlPointHeartbeats, AreAnsweredAmongOtherFrames)
{
    const ScriptedTelevision television(answering({event_frame + heartbeat_frame + event_frame}));
    const Phone phone(television);
    Others others(phone);
    EXPECT_EQ(cp_heartbeat(phone.connection, patience_ms), CP_OK);
    EXPECT_EQ(others.frames.size(), 1U);
}

TEST(ControlPointHeartbeats, AreRefusedWithTheWrongWord)
{
    const ScriptedTelevision television(answering({frame_bytes(0xEE, text_bytes("HEARD"))}));
    const Phone phone(television);
    EXPECT_EQ(cp_heartbeat(phone.connection, patience_ms), CP_PROTOCOL);
    EXPECT_EQ(cp_heartbeat(nullptr, patience_ms), CP_BAD_ARGUMENT);
}

TEST(ControlPointHeartbeats, TimeOutOnSilence)
{
    const ScriptedTelevision television([](const Peer &peer) { peer.wait_until_gone(); });
    const Phone phone(television);
    EXPECT_EQ(cp_heartbeat(phone.connection, 20), CP_TIMED_OUT);
}

const Bytes voice_failure = frame_bytes(6, {1, 0x1F, 0x40});

TEST(ControlPointVoice, IsUnderstoodWhenTheRequestBehindItIsAnsweredFirst)
{
    Bytes seen;
    {
        const ScriptedTelevision television([&](const Peer &peer) {
            seen = peer.receive_frame();
            seen = seen + peer.receive_frame();
            peer.send(event_frame + name_reply);
            peer.wait_until_gone();
        });
        const Phone phone(television);
        Others others(phone);
        bool refused = true;
        EXPECT_EQ(cp_voice(phone.connection, cp_text("hi"), &refused, patience_ms), CP_OK);
        EXPECT_FALSE(refused);
        EXPECT_EQ(others.frames.size(), 1U);
    }
    EXPECT_EQ(seen, frame_bytes(5, {1, 0x1F, 0x40, 1, 8, 2, 0, 'h', 'i'}) +
                        frame_bytes(5, {1, 0x01, 0x0B, 0}));
}

TEST(ControlPointVoice, IsRefusedWhenTheTelevisionAnswersIt)
{
    const ScriptedTelevision television(
        answering({voice_failure + event_frame, name_reply, name_reply}));
    const Phone phone(television);
    bool refused = false;
    EXPECT_EQ(cp_voice(phone.connection, cp_text("hm"), &refused, patience_ms), CP_OK);
    EXPECT_TRUE(refused);
    std::string name; /* nothing of it is left on the connection */
    EXPECT_EQ(ask_name(phone, &name), CP_OK);
    CpFrame frame = {};
    EXPECT_EQ(cp_receive(phone.connection, &frame, 0), CP_TIMED_OUT);
}

TEST(ControlPointVoice, IsNotKnownToBeUnderstoodWithoutAnAnswer)
{
    {
        const ScriptedTelevision television([](const Peer &peer) { peer.wait_until_gone(); });
        const Phone phone(television);
        bool refused = false;
        EXPECT_EQ(cp_voice(phone.connection, cp_text("x"), &refused, 20), CP_TIMED_OUT);
    }
    const ScriptedTelevision television([](const Peer &peer) { peer.receive_frame(); });
    const Phone phone(television);
    bool refused = false;
    EXPECT_EQ(cp_voice(phone.connection, cp_text("x"), &refused, patience_ms), CP_CLOSED);
    const Bytes long_text(65536, 'x');
    EXPECT_EQ(cp_voice(phone.connection, view(long_text), &refused, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_voice(nullptr, cp_text("x"), &refused, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_voice(phone.connection, cp_text("x"), nullptr, 1), CP_BAD_ARGUMENT);
}

} // namespace
