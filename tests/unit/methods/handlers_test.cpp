/* SPDX-License-Identifier: MIT */
/* Every handler with whole, cut and over-long requests, with and without its slot and memory. */
#include "tvlink/handlers.h"

#include "handler_rows.h"
#include "protocol/operations.h"
#include "support/project_text.h"
#include "support/system_calls.h"
#include "tvlink/dispatch.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <set>

namespace
{

const struct {
    int result;
    const char *byte;
    const char *word;
} RESULTS[] = {{0, "00", "00 00 00 00"},         {1, "01", "01 00 00 00"},
               {-1, "FF", "FF FF FF FF"},        {-2, "FE", "FE FF FF FF"},
               {256, "00", "00 01 00 00"},       {300, "2C", "2C 01 00 00"},
               {INT32_MIN, "00", "00 00 00 80"}, {INT32_MAX, "FF", "FF FF FF 7F"}};
const int SUCCESS = 1;

/* What the dispatchers take for the code. */
size_t end_of_code(const HandlerRow &row)
{
    return std::strncmp(row.name, "handle_set_", 11) == 0 ? 2 : 3;
}

void replace(std::string &text, const std::string &what, const std::string &with)
{
    const size_t at = text.find(what);
    if (at != std::string::npos) {
        text.replace(at, what.size(), with);
    }
}

/* The frame of the reply to a slot's result. */
std::string answer_to(const HandlerRow &row, int result)
{
    std::string reply = row.reply;
    for (const auto &each : RESULTS) {
        if (each.result == result) {
            replace(reply, "????????", each.word);
            replace(reply, "??", each.byte);
        }
    }
    return frame_around(reply);
}

bool is_failure(const HandlerRow &row, int result)
{
    return (row.fails == Fails::BELOW_0 && result < 0) ||
           (row.fails == Fails::BELOW_1 && result < 1);
}

bool has_slot(const HandlerRow &row)
{
    return row.slot != ROW_WITHOUT_SLOT;
}

Lines lines_of(const char *call)
{
    return *call == '\0' ? Lines() : Lines{call};
}

class Handlers : public AskedTelevision
{
protected:
    Handlers() : rows(handler_rows())
    {
    }

    void host_returns(const HandlerRow &row, int result)
    {
        HostAnswers answers = row.answers;
        answers.result = result;
        host.answer(answers);
    }

    /* In the way that a phone or a host would ask; the result of the outermost call. */
    int ask_as(const HandlerRow &row, const Bytes &request)
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

    void expect(const HandlerRow &row, const Bytes &request, const char *call,
                const std::string &frame, int result)
    {
        EXPECT_EQ(ask_as(row, request), row.reached == Reached::DIRECTLY ? result : 0);
        EXPECT_EQ(host.calls(), lines_of(call));
        EXPECT_EQ(phone.received(), frame);
        EXPECT_TRUE(lines.err().empty());
    }

    void expect_answer(const HandlerRow &row, const Bytes &request, int result)
    {
        host_returns(row, result);
        if (is_failure(row, result)) {
            expect(row, request, row.call, frame_around(row.unserved), row.unserved_result);
        } else {
            expect(row, request, row.call, answer_to(row, result), 0);
        }
    }

    void expect_unserved(const HandlerRow &row)
    {
        host_returns(row, SUCCESS);
        expect(row, bytes(row.request), "", frame_around(row.unserved), row.unserved_result);
    }

    const std::vector<HandlerRow> rows;
};

#define TRACE(row) SCOPED_TRACE(std::string((row).name) + " " + (row).request)

TEST_F(Handlers, CallTheirSlotAndSendItsResult)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        for (const auto &each : RESULTS) {
            expect_answer(row, bytes(row.request), each.result);
        }
    }
}

TEST_F(Handlers, TakeNoNoticeOfWhatFollows)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        for (const char *rest : {"00", "'XYZ'", "FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF"}) {
            expect_answer(row, joined({bytes(row.request), bytes(rest)}), SUCCESS);
        }
    }
}

TEST_F(Handlers, CallNothingAndSendAFailureForARequestThatEndsTooEarly)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        const Bytes whole = bytes(row.request);
        EXPECT_EQ(row.used, whole.size());
        host_returns(row, SUCCESS);
        for (size_t size = end_of_code(row); size < row.used; size++) {
            SCOPED_TRACE(size);
            expect(row, first_bytes(whole, size), "", frame_around(row.refused), -1);
        }
    }
}

TEST_F(Handlers, AreSilentForARequestThatEndsBeforeItsCode)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        host_returns(row, SUCCESS);
        for (size_t size = 0; size < end_of_code(row); size++) {
            SCOPED_TRACE(size);
            expect(row, first_bytes(bytes(row.request), size), "", "", -1);
        }
    }
}

TEST_F(Handlers, SendAFailureWithoutTheirSlot)
{
    for (const HandlerRow &row : rows) {
        if (has_slot(row)) {
            TRACE(row);
            host.leave_out(static_cast<size_t>(row.slot));
            expect_unserved(row);
            host.put_in(static_cast<size_t>(row.slot));
        }
    }
}

TEST_F(Handlers, SendAFailureWithoutATable)
{
    host.withdraw();
    for (const HandlerRow &row : rows) {
        TRACE(row);
        expect_unserved(row);
    }
}

TEST_F(Handlers, SendAFailureWithoutATableForARequestThatEndsTooEarly)
{
    host.withdraw();
    for (const HandlerRow &row : rows) {
        TRACE(row);
        const bool silent = *row.unserved == '\0'; /* nobody asked the host: no answer at all */
        for (size_t size = end_of_code(row); size < row.used; size++) {
            expect(row, first_bytes(bytes(row.request), size), "",
                   silent ? "" : frame_around(row.refused), -1);
        }
    }
}

TEST_F(Handlers, NeedNoOtherSlotThanTheirOwn)
{
    for (size_t slot = 0; slot < 87; slot++) {
        host.leave_out(slot);
    }
    for (const HandlerRow &row : rows) {
        if (has_slot(row)) {
            TRACE(row);
            host.put_in(static_cast<size_t>(row.slot));
            expect_answer(row, bytes(row.request), SUCCESS);
            host.leave_out(static_cast<size_t>(row.slot));
        }
    }
}

/* A slot may call the library, and may replace its own table, which is then gone. */
TEST_F(Handlers, LetTheirSlotCallTheLibraryAndTakeItsTableAway)
{
    host.in_slots([this] {
        host.withdraw();
        for (size_t slot = 0; slot < 87; slot++) {
            host.leave_out(slot);
        }
        refuse_bad_tags();
        EXPECT_EQ(ipp_report_dev_event(1, 2, "event", nullptr, 0), 0);
        EXPECT_EQ(handle_get_tv_name(phone.record(), nullptr, 0), 0);
    });
    const std::string nested = frame_around("06 01 01 0B 08 02 00 'KV'");
    for (const HandlerRow &row : rows) {
        if (*row.call != '\0') {
            TRACE(row);
            host_returns(row, SUCCESS);
            expect(row, bytes(row.request), row.call,
                   nested + (row.reply.empty() ? "" : " " + answer_to(row, SUCCESS)), 0);
            host.come_back();
            for (size_t slot = 0; slot < 87; slot++) {
                host.put_in(slot);
            }
        }
    }
}

/* What the dispatchers do not pass on. */
TEST_F(Handlers, ReturnWhetherThereWasASlotToAsk)
{
    host.withdraw();
    for (const HandlerRow &row : rows) {
        TRACE(row);
        EXPECT_EQ(ask(row.handler, row.request), row.unserved_result);
        phone.received();
    }
}

TEST_F(Handlers, ReturnZeroOnceTheyHaveAnswered)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        for (const auto &each : RESULTS) {
            host_returns(row, each.result);
            set_identity("KV", "");
            EXPECT_EQ(ask(row.handler, row.request),
                      is_failure(row, each.result) ? row.unserved_result : 0);
            phone.received();
        }
    }
}

TEST_F(Handlers, ReturnMinusOneForARequestThatEndsTooEarly)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        for (size_t size = end_of_code(row); size < row.used; size++) {
            EXPECT_EQ(ask(row.handler, first_bytes(bytes(row.request), size)), -1);
            phone.received();
        }
    }
}

TEST_F(Handlers, LeaveTheRequestAsItWas)
{
    for (const HandlerRow &row : rows) {
        if (row.handler != handle_set_tv_loginfromtv) {
            TRACE(row);
            host_returns(row, SUCCESS);
            EXPECT_EQ(ask(row.handler, row.request), 0);
            EXPECT_EQ(hex(given), hex(bytes(row.request)));
            phone.received();
        }
    }
}

TEST_F(Handlers, LiveOnWhenThePhoneHasGone)
{
    phone.hang_up();
    for (const HandlerRow &row : rows) {
        TRACE(row);
        host_returns(row, SUCCESS);
        EXPECT_EQ(ask(row.handler, row.request), 0);
        EXPECT_EQ(host.calls(), lines_of(row.call));
    }
}

/* Unless they look at no byte of it. */
TEST_F(Handlers, TakeNegativeLengthsAndNullForEmpty)
{
    for (const HandlerRow &row : rows) {
        const bool looks = row.used > end_of_code(row) || row.reached != Reached::BY_GET;
        if (looks && row.handler != handle_set_play_speed) {
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

/* ---- Memory that is out */

/* Handlers that are then silent, though they answer a bad request. */
/* ---- The rows and the list of operations */

struct Exception {
    const char *name;
    const char *place;
    const char *reason;
};

const Exception EXCEPTIONS[] = {
#define EXCEPTION(name, place, reason) {#name, #place, reason},
#include "protocol/operations.def"
};

/* The operation of a row; fails the test when there is none. */
const protocol::Operation &operation_of(const HandlerRow &row)
{
    for (const protocol::Operation &operation : protocol::ALL_OPERATIONS) {
        if (std::string("handle_") + operation.name == row.name) {
            return operation;
        }
    }
    ADD_FAILURE() << row.name << " is missing in protocol/operations.def";
    return protocol::ALL_OPERATIONS[0];
}

bool is_silent_without_memory(const HandlerRow &row)
{
    return row.handler == handle_set_play_addr;
}

/* A reply of a few bytes is lost when there is no memory for it; another one becomes the refusal.
 */
bool has_no_smaller_reply(const HandlerRow &row)
{
    const protocol::Reply &reply = operation_of(row).reply;
    const std::set<uint8_t> numbers = {TAG_U8, TAG_PORT, TAG_U32};
    return reply.form == protocol::REPLY_RESULT || reply.form == protocol::REPLY_ZERO ||
           (reply.form == protocol::REPLY_VALUE && numbers.count(reply.tag) == 1);
}

class HandlersWithoutMemory : public Handlers
{
protected:
    /* Lets every call of the function fail once, also the last one, which is for the reply. */
    void expect_failures(const HandlerRow &row, SystemFunction &function)
    {
        host_returns(row, SUCCESS);
        WatchedCall memory(function);
        set_identity("KV", "");
        EXPECT_EQ(ask(row.handler, row.request), 0);
        EXPECT_EQ(phone.received(), answer_to(row, SUCCESS));
        const long all = memory.calls();
        const long lost = &function == &system_calloc && has_no_smaller_reply(row) ? all : 0;
        for (long call = 1; call <= all; call++) {
            SCOPED_TRACE("call " + std::to_string(call) + " of " + std::to_string(all));
            memory.fail(ENOMEM, call);
            set_identity("KV", "");
            EXPECT_EQ(ask(row.handler, row.request), call == lost ? 0 : -1);
            const bool silent = call == lost || is_silent_without_memory(row);
            EXPECT_EQ(phone.received(), silent ? "" : frame_around(row.refused));
        }
        host.calls();
    }
};

TEST_F(HandlersWithoutMemory, SendAFailureAndLoseNothing)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        expect_failures(row, system_calloc);
        expect_failures(row, system_realloc);
    }
}

TEST_F(Handlers, HaveARowForEveryOperationOrAReasonInTheList)
{
    std::multiset<std::string> covered;
    for (const Exception &exception : EXCEPTIONS) {
        if (std::strcmp(exception.place, "ROW_TESTS") == 0) {
            covered.insert(exception.name);
        }
    }
    std::set<std::string> tested;
    for (const HandlerRow &row : rows) {
        tested.insert(operation_of(row).name);
    }
    covered.insert(tested.begin(), tested.end());
    for (const protocol::Operation &operation : protocol::ALL_OPERATIONS) {
        EXPECT_EQ(covered.count(operation.name), 1u)
            << operation.name << " needs a row in tests/unit/methods/" << operation.family
            << "_rows.cpp";
    }
}

/* Walks a whole request by the list's arguments; returns how many bytes they take. */
class ArgumentWalk
{
public:
    ArgumentWalk(const Bytes &request, const protocol::Operation &operation)
        : request_(request), at_(operation.kind == protocol::KIND_GET ? 3 : 2), used_(at_)
    {
        for (size_t i = 0; i < operation.arguments.count; i++) {
            take(operation.arguments.items[i]);
        }
    }

    size_t used() const
    {
        return used_;
    }

private:
    size_t number(size_t width)
    {
        size_t value = 0;
        for (size_t i = 0; i < width; i++) {
            value |= size_t{request_.at(at_ + i)} << 8 * i;
        }
        value_taken(width);
        return value;
    }

    void value_taken(size_t width)
    {
        at_ += width;
        used_ = at_;
    }

    void take_typed()
    {
        const size_t type = number(1);
        at_ += 1;
        const bool is_text = type == 7 || type == 8;
        value_taken(is_text ? number(2) : type == 18 ? 8 : 4);
    }

    void take(const protocol::Argument &argument)
    {
        switch (argument.type) {
        case protocol::ARGUMENT_COUNT:
        case protocol::ARGUMENT_ANY_TAG:
        case protocol::ARGUMENT_SPARE:
            at_ += 1;
            break;
        case protocol::ARGUMENT_CHECKED_TAG:
            EXPECT_EQ(number(1), argument.tag);
            break;
        case protocol::ARGUMENT_CHECKED_KIND:
            EXPECT_EQ(request_.at(0), argument.tag);
            break;
        case protocol::ARGUMENT_U8:
            value_taken(1);
            break;
        case protocol::ARGUMENT_U16:
        case protocol::ARGUMENT_I16:
            value_taken(2);
            break;
        case protocol::ARGUMENT_U32:
        case protocol::ARGUMENT_I32:
        case protocol::ARGUMENT_F32:
            value_taken(4);
            break;
        case protocol::ARGUMENT_I64:
            value_taken(8);
            break;
        case protocol::ARGUMENT_TEXT:
        case protocol::ARGUMENT_DATA16:
            value_taken(number(2));
            break;
        case protocol::ARGUMENT_DATA32:
            value_taken(number(4));
            break;
        case protocol::ARGUMENT_LENGTH16:
            lengths_[argument.name] = number(2);
            break;
        case protocol::ARGUMENT_BYTES:
            value_taken(lengths_.at(argument.name));
            break;
        case protocol::ARGUMENT_TYPED:
            take_typed();
            break;
        }
    }

    const Bytes &request_;
    size_t at_;
    size_t used_;
    std::map<std::string, size_t> lengths_;
};

TEST_F(Handlers, ReadTheArgumentsThatTheListHas)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        const Bytes request = bytes(row.request);
        EXPECT_EQ(ArgumentWalk(request, operation_of(row)).used(), row.used);
    }
}

Bytes code_bytes(uint16_t code)
{
    return {static_cast<uint8_t>(code), static_cast<uint8_t>(code >> 8)};
}

/* The beginning of a reply that the list's columns give, in the rows' form. */
std::string listed_reply(const protocol::Operation &operation, uint16_t code)
{
    const protocol::Reply &reply = operation.reply;
    const uint16_t sent = reply.success_code != 0 ? reply.success_code : code;
    switch (reply.form) {
    case protocol::REPLY_RESULT:
        return hex(joined({{0x08}, code_bytes(code)}));
    case protocol::REPLY_ZERO:
        return hex(joined({{0x08}, code_bytes(code), {0x00}}));
    case protocol::REPLY_VALUE:
        return hex(joined({{0x06, 0x01}, code_bytes(sent), {reply.tag}}));
    default:
        return "";
    }
}

std::string listed_refusal(const protocol::Operation &operation, protocol::Refusal refusal,
                           uint16_t code)
{
    switch (refusal) {
    case protocol::REFUSED_FF:
        return hex(joined({{0x08}, code_bytes(code), {0xFF}}));
    case protocol::REFUSED_ZERO:
        return hex(joined({{0x08}, code_bytes(code), {0x00}}));
    case protocol::REFUSED_EMPTY:
        return hex(joined({{0x06, 0x01}, code_bytes(code)}));
    case protocol::REFUSED_EMPTY_LIST:
        return hex(joined(
            {{0x06, 0x01}, code_bytes(code), {operation.reply.empty_tag, 0x00, 0x00, 0x00, 0x00}}));
    default:
        return "";
    }
}

TEST_F(Handlers, AnswerAsTheListSays)
{
    for (const HandlerRow &row : rows) {
        TRACE(row);
        const protocol::Operation &operation = operation_of(row);
        const Bytes request = bytes(row.request);
        const size_t code_at = end_of_code(row) - 2;
        const uint16_t requested =
            static_cast<uint16_t>(request[code_at] | request[code_at + 1] << 8U);
        const uint16_t own = protocol::reply_code(operation);
        const uint16_t code = own != 0 ? own : requested;
        const bool asks_host = *row.call != '\0';

        EXPECT_EQ(row.slot, operation.slot);
        EXPECT_EQ(row.reached == Reached::BY_GET,
                  operation.kind == protocol::KIND_GET && row.reached != Reached::DIRECTLY);
        if (row.reached != Reached::DIRECTLY) {
            EXPECT_GE(requested, operation.first_code);
            EXPECT_LE(requested, operation.last_code);
        }
        const std::string reply = hex(bytes(row.reply.substr(0, row.reply.find('?'))));
        EXPECT_EQ(reply.find(listed_reply(operation, code)), 0u) << reply;
        EXPECT_EQ(hex(bytes(row.refused)), listed_refusal(operation, operation.refusal, code));
        if (asks_host) {
            EXPECT_EQ(hex(bytes(row.unserved)),
                      listed_refusal(operation, operation.without_slot, code));
        }
    }
}

TEST_F(Handlers, StandInTheListAsTheyAreDeclared)
{
    std::set<std::string> listed;
    for (const protocol::Operation &operation : protocol::ALL_OPERATIONS) {
        listed.insert(std::string("handle_") + operation.name);
    }
    const Lines names =
        names_between(project_text("include/tvlink/handlers.h"), "TVLINK_API int ", "(");
    std::set<std::string> declared(names.begin(), names.end());
    declared.insert("handle_methodString"); /* tvlink/string_rpc.h */
    EXPECT_EQ(declared, listed);
}

} // namespace
