/* SPDX-License-Identifier: MIT */
/* Requests whose value tag is not the one that their handler demands. */
#include "support/asked_television.h"
#include "tvlink/dispatch.h"
#include "tvlink/handlers.h"

#include <csignal>

namespace
{

struct CheckedTag {
    Handler handler;
    const char *request; /* with the right tag */
    size_t index;
    const char *place; /* line and function in the printed line */
    const char *expression;
    const char *call;
    const char *reply;
    const char *refused;
};

/* clang-format off */
const CheckedTag TAGS[] = {
    {handle_set_tv_channel, "01 01 02 03", 2,
     "367: handle_set_tv_channel", "frame_data[2] == 0x02",
     "set_tv_channel 3", "08 01 01 00", "08 01 01 FF"},
    {handle_set_tv_volume, "0F 01 02 03", 2,
     "428: handle_set_tv_volume", "frame_data[2] == 0x02",
     "set_tv_volume 3", "08 0F 01 00", "08 0F 01 FF"},
    {handle_set_tv_mode, "18 01 06 04 03 02 01", 2,
     "348: handle_set_tv_mode", "frame_data[2] == 0x06",
     "set_tv_mode 16909060", "08 18 01 00", "08 18 01 FF"},
    {handle_set_tv_powermode, "04 01 02 01", 2,
     "408: handle_set_tv_powermode", "frame_data[2] == 0x02",
     "set_tv_powermode 1", "08 04 01 00", "08 04 01 FF"},
    {handle_set_tv_mute, "05 01 02 01", 2,
     "2308: handle_set_tv_mute", "frame_data[2] == 0x02",
     "set_tv_mute 1", "08 05 01 00", "08 05 01 FF"},
    {handle_set_tv_mouse, "06 01 A0 01 00 02 00 03 00", 2,
     "2264: handle_set_tv_mouse", "frame_data[2] == 0xA0",
     "set_tv_mouse 1 2 3", "", ""},
    {handle_set_tv_order, "06 20 06 01 00 02 00", 2,
     "659: handle_set_tv_order", "frame_data[2] == 0x06",
     "set_tv_order 1 2 1", "08 06 20 00", "08 06 20 FF"},
    {handle_set_tv_showphone, "21 01 08 03 00 'tel'", 2,
     "2128: handle_set_tv_showphone", "frame_data[2] == 0x08",
     "set_tv_showphone \"tel\" 3", "08 21 01 00", "08 21 01 FF"},
    {handle_get_tv_order, "01 07 20", 0,
     "599: handle_get_tv_order", "frame_data[0] == 1",
     "get_tv_order *0 *0", "06 01 07 20 A2 02 00 00 00 00 00", "06 01 07 20"},
    {handle_set_play_volume, "04 15 02 03", 2,
     "2443: handle_set_play_volume", "frame_data[2] == 0x02",
     "set_play_volume 3", "08 04 15 00", "08 04 15 FF"},
    {handle_set_play_operation, "10 15 05 01 00 00 00", 2,
     "2575: handle_set_play_operation", "frame_data[2] == 0x05",
     "set_play_operation 5392 1", "08 10 15 00", "08 10 15 FF"},
    {handle_set_play_addr, "05 15 08 01 00 'a'", 2,
     "2459: handle_set_play_addr", "frame_data[2]==0x08",
     "set_play_addr \"a\"", "08 05 15 00", "08 05 15 FF"},
    {handle_set_play_addr2, "17 15 EE 08 01 00 'a' EE 00 00 00 00 EE 05", 3,
     "2508: handle_set_play_addr2", "frame_data[3]==0x08",
     "set_play_addr2 \"a\" \"\" 0 5", "08 17 15 00", "08 17 15 FF"},
};
/* clang-format on */

std::string line_of(const CheckedTag &tag)
{
    return assertion_line(tag.place, tag.expression);
}

Bytes with_tag(const CheckedTag &tag, unsigned value)
{
    Bytes request = bytes(tag.request);
    request[tag.index] = static_cast<uint8_t>(value);
    return request;
}

class BadTag : public AskedTelevision
{
protected:
    BadTag()
    {
        refuse_bad_tags();
    }

    void expect_service(const CheckedTag &tag)
    {
        EXPECT_EQ(ask(tag.handler, tag.request), 0);
        EXPECT_EQ(host.calls(), Lines{tag.call});
        EXPECT_EQ(phone.received(), frame_around(tag.reply));
    }

    void expect_refusal(const CheckedTag &tag, const Bytes &request)
    {
        EXPECT_EQ(ask(tag.handler, request), -1);
        EXPECT_TRUE(host.calls().empty());
        EXPECT_EQ(phone.received(), frame_around(tag.refused));
    }
};

TEST_F(BadTag, IsRefusedWithOneLineWhateverItsValue)
{
    for (const CheckedTag &tag : TAGS) {
        SCOPED_TRACE(tag.place);
        const unsigned right = bytes(tag.request)[tag.index];
        for (unsigned value = 0; value <= 0xFF; value++) {
            if (value != right) {
                lines.clear();
                expect_refusal(tag, with_tag(tag, value));
                EXPECT_EQ(lines.err(), Lines{line_of(tag)});
                EXPECT_TRUE(lines.out().empty());
            }
        }
        lines.clear();
        expect_service(tag);
        EXPECT_TRUE(lines.all().empty());
    }
}

TEST_F(BadTag, PrintsItsLineOnStandardErrorOncePerRequest)
{
    ipp_set_log_sink(nullptr, nullptr);
    for (const CheckedTag &tag : TAGS) {
        const CapturedStreams streams;
        expect_refusal(tag, with_tag(tag, 0xEE));
        EXPECT_EQ(streams.err(), line_of(tag));
        expect_refusal(tag, with_tag(tag, 0xEE));
        EXPECT_EQ(streams.err(), line_of(tag) + line_of(tag));
        expect_service(tag);
        EXPECT_EQ(streams.err(), line_of(tag) + line_of(tag));
        EXPECT_EQ(streams.out(), "");
    }
}

TEST_F(BadTag, IsToldAlsoWhenTheRequestEndsBehindIt)
{
    for (const CheckedTag &tag : TAGS) {
        SCOPED_TRACE(tag.place);
        const size_t end = tag.index == 0 ? 3 : tag.index + 1;
        lines.clear();
        expect_refusal(tag, first_bytes(with_tag(tag, 0xEE), end));
        EXPECT_EQ(lines.err(), Lines{line_of(tag)});
    }
}

TEST_F(BadTag, IsToldAlsoWithoutATable)
{
    host.withdraw();
    for (const CheckedTag &tag : TAGS) {
        SCOPED_TRACE(tag.place);
        lines.clear();
        expect_refusal(tag, with_tag(tag, 0xEE));
        EXPECT_EQ(lines.err(), Lines{line_of(tag)});
    }
}

TEST_F(BadTag, LetsTheServiceOfADispatcherGoOn)
{
    EXPECT_EQ(ask(tv_set, "07 01 01 06 03"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 01 01 FF"));
    EXPECT_EQ(ask(tv_set, "07 0F 01 06 03"), 0);
    EXPECT_EQ(phone.received(), frame_around("08 0F 01 FF"));
    EXPECT_EQ(lines.err(), (Lines{line_of(TAGS[0]), line_of(TAGS[1])}));
    EXPECT_EQ(ask(tv_set, "07 01 01 02 03"), 0);
    EXPECT_EQ(host.calls(), Lines{"set_tv_channel 3"});
    EXPECT_EQ(phone.received(), frame_around("08 01 01 00"));
}

/* Under the plain guard a wrong tag ends the process. */
class BadTagDeathTest : public AskedTelevision
{
protected:
    /* Exactly this on standard error; an emulator may add a line of its own about the signal. */
    static std::string exactly(const std::string &text)
    {
        std::string pattern = "^";
        for (const char each : text) {
            pattern += std::isalnum(static_cast<unsigned char>(each)) || each == '\n'
                           ? std::string(1, each)
                           : std::string("[") + each + "]";
        }
        return pattern + "(qemu: [^\n]*\n)?$";
    }
};

TEST_F(BadTagDeathTest, EndsTheProcessWithItsLineOnStandardError)
{
    ipp_set_log_sink(nullptr, nullptr);
    for (const CheckedTag &tag : TAGS) {
        EXPECT_EXIT(ask(tag.handler, with_tag(tag, 0xEE)), testing::KilledBySignal(SIGABRT),
                    exactly(line_of(tag)));
    }
    /* The children shared the connection: nothing was sent. */
    EXPECT_EQ(phone.received(), "");
}

TEST_F(BadTagDeathTest, EndsTheProcessAgainOnceTheGuardIsPlainAgain)
{
    refuse_bad_tags();
    EXPECT_EQ(ask(TAGS[0].handler, with_tag(TAGS[0], 0xEE)), -1);
    ASSERT_EQ(ipp_set_guard(nullptr), 0);
    ipp_set_log_sink(nullptr, nullptr);
    EXPECT_EXIT(ask(tv_set, "07 01 01 06 03"), testing::KilledBySignal(SIGABRT),
                exactly(line_of(TAGS[0])));
}

TEST_F(BadTagDeathTest, GivesItsLineToTheLogSinkFirst)
{
    ipp_set_log_sink([](int stream, const char *text,
                        void *) { std::fprintf(stderr, "sink %d: %s", stream, text); },
                     nullptr);
    for (const CheckedTag &tag : TAGS) {
        EXPECT_EXIT(ask(tag.handler, with_tag(tag, 0xEE)), testing::KilledBySignal(SIGABRT),
                    exactly("sink 2: " + line_of(tag)));
    }
}

} // namespace
