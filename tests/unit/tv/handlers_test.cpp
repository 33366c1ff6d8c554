/* Every handler with whole, cut and over-long requests, with and without its slot. */
#include "tvlink/handlers.h"

#include "asked_television.h"
#include "support/project_text.h"
#include "tvlink/dispatch.h"

#include <set>

namespace
{

enum class Reached {
    BY_SET, /* through the dispatchers, in a whole body */
    BY_GET,
    DIRECTLY, /* no method code leads there: the handler itself is called */
};

const int NO_SLOT = -1;

/* What is skipped is EE. In replies, ?? stands for the low 8 bits of the slot's result. */
struct Row {
    const char *name;
    Handler handler;
    Reached reached;
    int slot;
    const char *request;  /* from index 0 on, method code included */
    size_t used;          /* how many bytes of it the handler cannot do without */
    const char *call;     /* what the slot is called with; nothing: no slot is called */
    const char *reply;    /* frame type and payload; nothing: silence */
    const char *refused;  /* the same for a request that ends too early */
    const char *unserved; /* the same when there is no slot or no table */
    int unserved_result;  /* what the handler then returns */
};

#define HANDLER(name) #name, name

/* clang-format off */
const Row ROWS[] = {
    {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "01 01 02 03", 4,
     "set_tv_channel 3", "08 01 01 ??", "08 01 01 FF", "08 01 01 FF", 0},
    {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "01 01 02 FF", 4,
     "set_tv_channel 255", "08 01 01 ??", "08 01 01 FF", "08 01 01 FF", 0},
    {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "02 01 02 03", 4,
     "set_tv_channel -3", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},
    {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "02 01 02 FF", 4,
     "set_tv_channel -255", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},
    {HANDLER(handle_set_tv_channel), Reached::DIRECTLY, 29, "10 01 02 03", 4,
     "set_tv_channel 3", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},

    {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "0F 01 02 05", 4,
     "set_tv_volume 5", "08 0F 01 ??", "08 0F 01 FF", "08 0F 01 FF", 0},
    {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 05", 4,
     "set_tv_volume -5", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
    {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 00", 4,
     "set_tv_volume 0", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
    {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 FF", 4,
     "set_tv_volume -255", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
    {HANDLER(handle_set_tv_volume), Reached::DIRECTLY, 25, "02 01 02 05", 4,
     "set_tv_volume 5", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},

    {HANDLER(handle_set_tv_key), Reached::BY_SET, 27, "09 01 02 06 05 00 00 00 06 08 00 00 00", 13,
     "set_tv_key 5 8", "08 09 01 ??", "08 09 01 FF", "08 09 01 FF", 0},
    {HANDLER(handle_set_tv_key), Reached::BY_SET, 27, "09 01 EE EE 04 03 02 01 EE FF FE FD FC", 13,
     "set_tv_key 16909060 4244504319", "08 09 01 ??", "08 09 01 FF", "08 09 01 FF", 0},

    {HANDLER(handle_set_tv_textpair), Reached::BY_SET, 31,
     "12 01 EE EE 03 00 'abc' EE 02 00 'de'", 14,
     "set_tv_textpair \"de\" \"abc\"", "08 12 01 ??", "08 12 01 FF", "08 12 01 FF", 0},
    {HANDLER(handle_set_tv_textpair), Reached::BY_SET, 31, "12 01 EE EE 00 00 EE 00 00", 9,
     "set_tv_textpair \"\" \"\"", "08 12 01 ??", "08 12 01 FF", "08 12 01 FF", 0},

    {HANDLER(handle_set_tv_mode), Reached::DIRECTLY, 23, "18 01 06 04 03 02 81", 7,
     "set_tv_mode 2164392708", "08 18 01 ??", "08 18 01 FF", "08 18 01 FF", 0},

    {HANDLER(handle_set_tv_powermode), Reached::DIRECTLY, 26, "04 01 02 FE", 4,
     "set_tv_powermode 254", "08 04 01 ??", "08 04 01 FF", "08 04 01 FF", 0},

    {HANDLER(handle_set_tv_mute), Reached::DIRECTLY, 15, "05 01 02 81", 4,
     "set_tv_mute 129", "08 05 01 ??", "08 05 01 FF", "08 05 01 FF", 0},

    {HANDLER(handle_set_tv_mouse), Reached::DIRECTLY, 30, "06 01 A0 02 01 FF FF 00 80", 9,
     "set_tv_mouse 258 -1 -32768", "", "", "", 0},

    {HANDLER(handle_set_tv_touch), Reached::DIRECTLY, 28,
     "07 01 EE EE 00 00 20 41 EE 00 00 A0 C1", 13,
     "set_tv_touch 10 -20", "08 07 01 ??", "08 07 01 FF", "08 07 01 FF", 0},

    {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "06 20 06 34 12 78 96", 7,
     "set_tv_order 4660 38520 1", "08 06 20 ??", "08 06 20 FF", "08 06 20 FF", 0},
    {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "10 20 06 34 12 78 96", 7,
     "set_tv_order 4660 38520 2", "08 10 20 ??", "08 10 20 FF", "08 10 20 FF", 0},
    {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "07 20 06 34 12 78 96", 7,
     "", "08 07 20 00", "08 07 20 FF", "08 07 20 00", 0},

    {HANDLER(handle_set_tv_name), Reached::DIRECTLY, 34, "08 01 EE EE 03 00 'abc'", 9,
     "set_tv_name \"abc\" 3", "08 08 01 ??", "08 08 01 FF", "08 08 01 FF", 0},
    {HANDLER(handle_set_tv_name), Reached::DIRECTLY, 34, "08 01 EE EE 00 00", 6,
     "set_tv_name \"\" 0", "08 08 01 ??", "08 08 01 FF", "08 08 01 FF", 0},

    {HANDLER(handle_set_tv_wifiinfo), Reached::DIRECTLY, 61, "09 40 EE EE EE 04 00 'wifi'", 11,
     "set_tv_wifiinfo \"wifi\"", "08 09 40 ??", "08 09 40 FF", "08 09 40 FF", 0},
    {HANDLER(handle_set_tv_wifiinfo), Reached::DIRECTLY, 61, "09 40 EE EE EE 00 00", 7,
     "set_tv_wifiinfo \"\"", "08 09 40 ??", "08 09 40 FF", "08 09 40 FF", 0},

    {HANDLER(handle_set_tv_searchchannel), Reached::DIRECTLY, 19, "34 12", 2,
     "set_tv_searchchannel", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
    {HANDLER(handle_set_tv_bind), Reached::DIRECTLY, 18, "34 12", 2,
     "set_tv_bind", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
    {HANDLER(handle_set_tv_action1), Reached::DIRECTLY, 17, "34 12", 2,
     "set_tv_action1", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
    {HANDLER(handle_set_tv_action2), Reached::DIRECTLY, 16, "34 12", 2,
     "set_tv_action2", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

    {HANDLER(handle_set_tv_showphone), Reached::DIRECTLY, 20, "21 01 08 03 00 'tel'", 8,
     "set_tv_showphone \"tel\" 3", "08 21 01 ??", "08 21 01 FF", "08 21 01 FF", 0},
    {HANDLER(handle_set_tv_showphone), Reached::DIRECTLY, 20, "21 01 08 00 00", 5,
     "set_tv_showphone \"\" 0", "08 21 01 ??", "08 21 01 FF", "08 21 01 FF", 0},

    {HANDLER(handle_set_tv_voddetails), Reached::DIRECTLY, 21,
     "22 01 EE 02 00 'ab' EE 03 00 'cde'", 13,
     "set_tv_voddetails \"ab\" 2 \"cde\" 3", "08 22 01 ??", "08 22 01 FF", "08 22 01 FF", 0},
    {HANDLER(handle_set_tv_voddetails), Reached::DIRECTLY, 21, "22 01 EE 00 00 EE 00 00", 8,
     "set_tv_voddetails \"\" 0 \"\" 0", "08 22 01 ??", "08 22 01 FF", "08 22 01 FF", 0},

    {HANDLER(handle_set_tv_loginfromtv), Reached::DIRECTLY, 22,
     "23 01 EE EE 01 00 'a' EE 02 00 'bb' EE 00 00 EE 01 00 'd' EE 03 00 'eee'", 25,
     "set_tv_loginfromtv \"a\" \"bb\" \"\" \"d\" \"eee\"",
     "08 23 01 00", "08 23 01 00", "08 23 01 00", 0},

    {HANDLER(handle_set_tv_int3), Reached::DIRECTLY, 33,
     "24 01 EE EE 01 02 03 04 EE 02 00 00 00 EE 03 00 00 80", 18,
     "set_tv_int3 67305985 2 2147483651", "08 24 01 ??", "08 24 01 FF", "08 24 01 FF", 0},

    {HANDLER(handle_set_tv_code3001), Reached::DIRECTLY, 1, "34 12 EE EE 02 00 'ab'", 8,
     "set_tv_code3001 \"ab\"", "08 01 30 ??", "08 01 30 FF", "08 01 30 FF", 0},
    {HANDLER(handle_set_tv_code3001), Reached::DIRECTLY, 1, "34 12 EE EE 00 00", 6,
     "", "08 01 30 00", "08 01 30 FF", "08 01 30 00", 0},

    {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE CD AB EE 02 00 'xy'", 11,
     "set_tv_code0115 \"xy\" 43981", "08 15 01 ??", "08 15 01 FF", "08 15 01 FF", 0},
    {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE 00 00 EE 01 00 'x'", 10,
     "set_tv_code0115 \"x\" 0", "08 15 01 ??", "08 15 01 FF", "08 15 01 FF", 0},
    {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE CD AB EE 00 00", 9,
     "", "08 15 01 00", "08 15 01 FF", "08 15 01 00", 0},

    {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE CD AB", 5,
     "set_tv_code0116 43981", "08 16 01 ??", "08 16 01 FF", "08 16 01 FF", 0},
    {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE 00 01", 5,
     "set_tv_code0116 256", "08 16 01 ??", "08 16 01 FF", "08 16 01 FF", 0},
    {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE 00 00", 5,
     "", "08 16 01 00", "08 16 01 FF", "08 16 01 00", 0},

    {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 04 03 02 81", 7,
     "set_tv_code0117 2164392708", "08 17 01 ??", "08 17 01 FF", "08 17 01 FF", 0},
    {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 00 00 01 00", 7,
     "set_tv_code0117 65536", "08 17 01 ??", "08 17 01 FF", "08 17 01 FF", 0},
    {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 00 00 00 00", 7,
     "", "08 17 01 00", "08 17 01 FF", "08 17 01 00", 0},

    {HANDLER(handle_get_tv_text), Reached::BY_GET, 9, "01 12 01", 3,
     "get_tv_text [256]", "06 01 12 01 08 05 00 'hello'", "", "", -1},

    {HANDLER(handle_get_tv_name), Reached::BY_GET, NO_SLOT, "01 01 0B", 3,
     "", "06 01 01 0B 08 02 00 'KV'", "", "06 01 01 0B 08 02 00 'KV'", 0},

    {HANDLER(handle_get_tv_order), Reached::BY_GET, 12, "01 07 20", 3,
     "get_tv_order *0 *0", "06 01 07 20 A2 08 00 00 00 03 00 01 02 03 04 05 06",
     "", "06 01 07 20", -1},
    {HANDLER(handle_get_tv_order), Reached::DIRECTLY, 12, "01 34 12", 3,
     "get_tv_order *0 *0", "06 01 34 12 A2 08 00 00 00 03 00 01 02 03 04 05 06",
     "", "06 01 34 12", -1},
};
/* clang-format on */

/* Handlers of another form, with the suite that covers them. */
const char *const ELSEWHERE[] = {
    "handle_get_device_info", /* DeviceInfo */
};

const struct {
    int result;
    const char *byte;
} RESULTS[] = {{0, "00"}, {1, "01"}, {-1, "FF"}, {-2, "FE"}, {256, "00"}, {300, "2C"}};

size_t end_of_code(const Row &row)
{
    return std::strncmp(row.name, "handle_get_", 11) == 0 ? 3 : 2;
}

std::string frame_with(std::string body, const char *result)
{
    const size_t at = body.find("??");
    return frame_around(at == std::string::npos ? body : body.replace(at, 2, result));
}

Lines lines_of(const char *call)
{
    return *call == '\0' ? Lines() : Lines{call};
}

class Handlers : public AskedTelevision
{
protected:
    Handlers()
    {
        host_returns(0);
    }

    void host_returns(int result)
    {
        HostAnswers answers;
        answers.result = result;
        answers.text = "hello";
        answers.outs = {3, 6};
        answers.data = bytes("01 02 03 04 05 06");
        host.answer(answers);
    }

    /* In the way that a phone or a host would ask; the result of the outermost call. */
    int ask_as(const Row &row, const Bytes &request)
    {
        set_identity("KV", ""); /* a handler sets it */
        switch (row.reached) {
        case Reached::BY_SET:
            return ask(tv_set, joined({{0x07}, request}));
        case Reached::BY_GET:
            return ask(tv_get, joined({{0x05}, request}));
        case Reached::DIRECTLY:
            break;
        }
        return ask(row.handler, request);
    }

    void expect(const Row &row, const Bytes &request, const char *call, const std::string &frame,
                int result)
    {
        EXPECT_EQ(ask_as(row, request), row.reached == Reached::DIRECTLY ? result : 0);
        EXPECT_EQ(host.calls(), lines_of(call));
        EXPECT_EQ(phone.received(), frame);
        EXPECT_TRUE(lines.err().empty());
    }
};

#define TRACE(row) SCOPED_TRACE(std::string((row).name) + " " + (row).request)

TEST_F(Handlers, CallTheirSlotAndSendItsResult)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        for (const auto &each : RESULTS) {
            host_returns(each.result);
            expect(row, bytes(row.request), row.call, frame_with(row.reply, each.byte), 0);
        }
    }
}

TEST_F(Handlers, TakeNoNoticeOfWhatFollows)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        for (const char *rest : {"00", "'XYZ'", "FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF"}) {
            expect(row, joined({bytes(row.request), bytes(rest)}), row.call,
                   frame_with(row.reply, "00"), 0);
        }
    }
}

TEST_F(Handlers, CallNothingAndSendAFailureForARequestThatEndsTooEarly)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        const Bytes whole = bytes(row.request);
        EXPECT_EQ(row.used, whole.size());
        for (size_t size = end_of_code(row); size < row.used; size++) {
            SCOPED_TRACE(size);
            expect(row, first_bytes(whole, size), "", frame_around(row.refused), -1);
        }
    }
}

TEST_F(Handlers, AreSilentForARequestThatEndsBeforeItsCode)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        for (size_t size = 0; size < end_of_code(row); size++) {
            SCOPED_TRACE(size);
            expect(row, first_bytes(bytes(row.request), size), "", "", -1);
        }
    }
}

TEST_F(Handlers, SendAFailureWithoutTheirSlot)
{
    for (const Row &row : ROWS) {
        if (row.slot != NO_SLOT) {
            TRACE(row);
            host.leave_out(static_cast<size_t>(row.slot));
            expect(row, bytes(row.request), "", frame_around(row.unserved), row.unserved_result);
            host.put_in(static_cast<size_t>(row.slot));
        }
    }
}

TEST_F(Handlers, SendAFailureWithoutATable)
{
    host.withdraw();
    for (const Row &row : ROWS) {
        TRACE(row);
        expect(row, bytes(row.request), "", frame_around(row.unserved), row.unserved_result);
    }
}

TEST_F(Handlers, SendAFailureWithoutATableForARequestThatEndsTooEarly)
{
    host.withdraw();
    for (const Row &row : ROWS) {
        TRACE(row);
        for (size_t size = end_of_code(row); size < row.used; size++) {
            expect(row, first_bytes(bytes(row.request), size), "", frame_around(row.refused), -1);
        }
    }
}

TEST_F(Handlers, NeedNoOtherSlotThanTheirOwn)
{
    for (size_t slot = 0; slot < 87; slot++) {
        host.leave_out(slot);
    }
    for (const Row &row : ROWS) {
        if (row.slot != NO_SLOT) {
            TRACE(row);
            host.put_in(static_cast<size_t>(row.slot));
            expect(row, bytes(row.request), row.call, frame_with(row.reply, "00"), 0);
            host.leave_out(static_cast<size_t>(row.slot));
        }
    }
}

/* What the dispatchers do not pass on. */
TEST_F(Handlers, ReturnWhetherThereWasASlotToAsk)
{
    host.withdraw();
    for (const Row &row : ROWS) {
        TRACE(row);
        EXPECT_EQ(ask(row.handler, row.request), row.unserved_result);
    }
}

TEST_F(Handlers, ReturnZeroOnceTheyHaveAnswered)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        for (const auto &each : RESULTS) {
            host_returns(each.result);
            set_identity("KV", "");
            EXPECT_EQ(ask(row.handler, row.request), 0);
            EXPECT_EQ(phone.received(), frame_with(row.reply, each.byte));
        }
    }
}

TEST_F(Handlers, ReturnMinusOneForARequestThatEndsTooEarly)
{
    for (const Row &row : ROWS) {
        TRACE(row);
        for (size_t size = end_of_code(row); size < row.used; size++) {
            EXPECT_EQ(ask(row.handler, first_bytes(bytes(row.request), size)), -1);
        }
    }
}

TEST_F(Handlers, LeaveTheRequestAsItWas)
{
    for (const Row &row : ROWS) {
        if (row.handler != handle_set_tv_loginfromtv) {
            TRACE(row);
            EXPECT_EQ(ask(row.handler, row.request), 0);
            EXPECT_EQ(hex(given), hex(bytes(row.request)));
        }
    }
}

TEST_F(Handlers, LiveOnWhenThePhoneHasGone)
{
    phone.hang_up();
    for (const Row &row : ROWS) {
        TRACE(row);
        EXPECT_EQ(ask(row.handler, row.request), 0);
        EXPECT_EQ(host.calls(), lines_of(row.call));
    }
}

TEST_F(Handlers, TakeNegativeLengthsAndNullForEmpty)
{
    for (const Row &row : ROWS) {
        if (row.reached != Reached::BY_GET) {
            TRACE(row);
            Bytes request = bytes(row.request);
            EXPECT_EQ(row.handler(phone.record(), request.data(), -1), -1);
            EXPECT_EQ(row.handler(phone.record(), request.data(), INT32_MIN), -1);
            EXPECT_EQ(row.handler(phone.record(), nullptr, 100), -1);
            EXPECT_TRUE(host.calls().empty());
            EXPECT_EQ(phone.received(), "");
        }
    }
}

TEST_F(Handlers, AreAllInTheTable)
{
    const Lines names =
        names_between(project_text("include/tvlink/handlers.h"), "TVLINK_API int ", "(");
    const std::set<std::string> declared(names.begin(), names.end());
    std::set<std::string> covered(std::begin(ELSEWHERE), std::end(ELSEWHERE));
    for (const Row &row : ROWS) {
        covered.insert(row.name);
    }
    EXPECT_EQ(covered, declared);
    EXPECT_GE(declared.size(), 28u);
}

} // namespace
