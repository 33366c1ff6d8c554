/* SPDX-License-Identifier: MIT */
#include "request_words.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>

#include "printable.h"
#include "protocol/operations.h"
#include "tvlink/frame.h"

namespace sim
{

namespace
{

using protocol::Argument;
using protocol::Operation;

constexpr uint8_t call_device_info = 0;
constexpr uint8_t call_method = 1;

std::optional<protocol::Kind> kind_of(uint8_t frame_type)
{
    switch (frame_type) {
    case FRAME_GET:
        return protocol::KIND_GET;
    case FRAME_SET:
        return protocol::KIND_SET;
    case FRAME_RPC:
        return protocol::KIND_STRING;
    default:
        return std::nullopt;
    }
}

/* Null when there is none. */
const Operation *operation_with(protocol::Kind kind, uint16_t code)
{
    for (const Operation &operation : protocol::ALL_OPERATIONS) {
        if (operation.kind == kind && code >= operation.first_code && code <= operation.last_code) {
            return &operation;
        }
    }
    return nullptr;
}

/* A get request without a code may ask for the device information: its body shows that. */
const Operation *operation_of(const IppRequest &request, const Body &body)
{
    const std::optional<protocol::Kind> kind = kind_of(request.type);
    if (kind && request.has_code != 0) {
        return operation_with(*kind, request.code);
    }
    const bool asks_for_info =
        body.size() > 1 && body[0] == FRAME_GET && body[1] == call_device_info;
    return asks_for_info ? &protocol::OPERATIONS.get_device_info : nullptr;
}

std::string type_words(uint8_t frame_type)
{
    switch (frame_type) {
    case 0:
        return "frame";
    case FRAME_GET:
        return "get";
    case FRAME_SET:
        return "set";
    case FRAME_RPC:
        return "rpc";
    case FRAME_NO_OP:
        return "no operation";
    default:
        return "frame " + byte_words(frame_type);
    }
}

/* ---- Arguments */

/* The arguments' bytes, which may end anywhere. */
struct Reading {
    const uint8_t *bytes;
    size_t size;
    size_t at;
    std::map<std::string, uint32_t> lengths; /* of bytes that follow later */
    std::vector<std::string> words;
    int reason; /* IPP_REASON_... of the first fault */
    std::string fault;
};

void fail(Reading &reading, int reason, const std::string &fault)
{
    if (reading.reason == IPP_REASON_NONE) {
        reading.reason = reason;
        reading.fault = fault;
    }
}

/* Null, and a fault, when they are not all there. */
const uint8_t *take(Reading &reading, const Argument &argument, size_t count)
{
    if (reading.reason != IPP_REASON_NONE) {
        return nullptr;
    }
    if (count > reading.size - reading.at) {
        fail(reading, IPP_REASON_TOO_SHORT,
             std::string(argument.name) + " lacks " +
                 std::to_string(count - (reading.size - reading.at)) + " of " +
                 std::to_string(count) + (count == 1 ? " byte" : " bytes"));
        return nullptr;
    }
    const uint8_t *bytes = reading.bytes + reading.at;
    reading.at += count;
    return bytes;
}

/* At most four bytes. */
uint32_t number_of(const uint8_t *bytes, size_t size)
{
    uint32_t number = 0;
    for (size_t i = size; i > 0; i--) {
        number = number << 8 | bytes[i - 1];
    }
    return number;
}

void say(Reading &reading, const Argument &argument, const std::string &value)
{
    reading.words.push_back(std::string(argument.name) + " " + value);
}

/* What is not looked at need not be there. */
void read_unread(Reading &reading, const Argument &argument)
{
    const uint8_t *byte = reading.at < reading.size ? take(reading, argument, 1) : nullptr;
    if (byte != nullptr) {
        say(reading, argument,
            argument.type == protocol::ARGUMENT_ANY_TAG ? byte_words(*byte)
                                                        : std::to_string(*byte));
    }
}

void read_checked_tag(Reading &reading, const Argument &argument)
{
    const uint8_t *tag = take(reading, argument, 1);
    if (tag == nullptr) {
        return;
    }
    say(reading, argument, byte_words(*tag));
    if (*tag != argument.tag) {
        fail(reading, IPP_REASON_WRONG_TAG,
             "a value has the tag " + byte_words(*tag) + ", " + byte_words(argument.tag) +
                 " is required");
    }
}

template <typename Number> void read_number(Reading &reading, const Argument &argument)
{
    const uint8_t *bytes = take(reading, argument, sizeof(Number));
    if (bytes != nullptr) {
        Number number;
        memcpy(&number, bytes, sizeof number);
        say(reading, argument, std::to_string(number));
    }
}

void read_block(Reading &reading, const Argument &argument, size_t size)
{
    const uint8_t *bytes = take(reading, argument, size);
    if (bytes == nullptr) {
        return;
    }
    if (argument.type == protocol::ARGUMENT_DATA16 || argument.type == protocol::ARGUMENT_DATA32) {
        say(reading, argument, "of " + std::to_string(size) + " bytes");
    } else {
        say(reading, argument, tools::quoted(std::string(bytes, bytes + size)));
    }
    if (argument.type == protocol::ARGUMENT_TEXT && size > argument.limit) {
        fail(reading, IPP_REASON_TEXT_TOO_LONG,
             std::string(argument.name) + " has " + std::to_string(size) + " bytes, " +
                 std::to_string(argument.limit) + " fit");
    }
}

/* Bytes behind their length. */
void read_long_value(Reading &reading, const Argument &argument, size_t length_size)
{
    const uint8_t *length = take(reading, argument, length_size);
    if (length != nullptr) {
        read_block(reading, argument, number_of(length, length_size));
    }
}

void read_length(Reading &reading, const Argument &argument)
{
    const uint8_t *length = take(reading, argument, 2);
    if (length != nullptr) {
        reading.lengths[argument.name] = number_of(length, 2);
    }
}

void read_argument(Reading &reading, const Argument &argument)
{
    switch (argument.type) {
    case protocol::ARGUMENT_COUNT:
    case protocol::ARGUMENT_ANY_TAG:
    case protocol::ARGUMENT_SPARE:
        return read_unread(reading, argument);
    case protocol::ARGUMENT_CHECKED_TAG:
        return read_checked_tag(reading, argument);
    case protocol::ARGUMENT_U8:
        return read_number<uint8_t>(reading, argument);
    case protocol::ARGUMENT_U16:
        return read_number<uint16_t>(reading, argument);
    case protocol::ARGUMENT_I16:
        return read_number<int16_t>(reading, argument);
    case protocol::ARGUMENT_U32:
        return read_number<uint32_t>(reading, argument);
    case protocol::ARGUMENT_I32:
        return read_number<int32_t>(reading, argument);
    case protocol::ARGUMENT_I64:
        return read_number<int64_t>(reading, argument);
    case protocol::ARGUMENT_F32:
        return read_number<float>(reading, argument);
    case protocol::ARGUMENT_TEXT:
    case protocol::ARGUMENT_DATA16:
        return read_long_value(reading, argument, 2);
    case protocol::ARGUMENT_DATA32:
        return read_long_value(reading, argument, 4);
    case protocol::ARGUMENT_LENGTH16:
        return read_length(reading, argument);
    case protocol::ARGUMENT_BYTES:
        return read_block(reading, argument, reading.lengths[argument.name]);
    case protocol::ARGUMENT_CHECKED_KIND: /* no bytes */
    case protocol::ARGUMENT_TYPED:        /* of operations that no request reaches */
        return;
    }
}

/* Where the arguments begin: behind type and method code, and in a get request its kind. */
size_t arguments_offset(uint8_t frame_type)
{
    return frame_type == FRAME_GET ? 4 : 3;
}

Reading read_arguments(const IppRequest &request, const Body &body)
{
    const size_t offset = std::min(arguments_offset(request.type), body.size());
    Reading reading = {body.data() + offset, body.size() - offset, 0, {}, {}, IPP_REASON_NONE, ""};
    const Operation *operation = request.has_code != 0 ? operation_of(request, body) : nullptr;
    if (operation != nullptr) {
        const Argument *const items = operation->arguments.items;
        std::for_each(items, items + operation->arguments.count,
                      [&](const Argument &argument) { read_argument(reading, argument); });
    }
    return reading;
}

/* ---- Refusals */

/* The table may show that another kind of request has the code. */
std::string no_route_words(const IppRequest &request)
{
    const std::pair<protocol::Kind, const char *> kinds[] = {
        {protocol::KIND_GET, "get"}, {protocol::KIND_SET, "set"}, {protocol::KIND_STRING, "rpc"}};
    std::string words = "no such operation";
    for (const auto &[kind, name] : kinds) {
        const Operation *operation = operation_with(kind, request.code);
        if (operation != nullptr) {
            words += std::string("; ") + name + " reaches " + operation->name;
        }
    }
    return words;
}

std::string kind_words(const Body &body)
{
    return body.size() < 2 ? ipp_reason_text(IPP_REASON_UNKNOWN_KIND)
                           : std::to_string(body[1]) + " is not a kind of get request, " +
                                 std::to_string(call_device_info) + " and " +
                                 std::to_string(call_method) + " are";
}

std::string fault_words(const IppRequest &request, const Body &body)
{
    const Reading reading = read_arguments(request, body);
    return !body.empty() && reading.reason == request.reason ? reading.fault
                                                             : ipp_reason_text(request.reason);
}

std::string answer_words(const IppRequest &request)
{
    if (request.replied == 0) {
        return request.type == FRAME_NO_OP ? "silence" : "carried out, silence";
    }
    if (request.type == FRAME_SET) {
        return "answered, result " + std::to_string(result_of(request));
    }
    return request.result == -1 ? "answered, empty" : "answered";
}

} // namespace

std::string hex_digits(const uint8_t *bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string hex_byte(uint8_t byte)
{
    return "0x" + hex_digits(&byte, 1);
}

std::string hex_code(uint16_t code)
{
    const uint8_t bytes[] = {static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
    return "0x" + hex_digits(bytes, sizeof bytes);
}

std::string byte_words(uint8_t byte)
{
    char text[8];
    snprintf(text, sizeof text, "0x%02X", unsigned{byte});
    return text;
}

std::string code_words(uint16_t code)
{
    char text[8];
    snprintf(text, sizeof text, "0x%04X", unsigned{code});
    return text;
}

std::string address_words(uint32_t address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

int result_of(const IppRequest &request)
{
    return static_cast<int8_t>(request.result);
}

std::string operation_name(const IppRequest &request, const Body &body)
{
    const Operation *operation = operation_of(request, body);
    return operation == nullptr ? "" : operation->name;
}

std::string request_words(const IppRequest &request, const Body &body)
{
    const std::string name = operation_name(request, body);
    return type_words(request.type) +
           (request.has_code != 0 ? " " + code_words(request.code) : "") +
           (name.empty() ? "" : " " + name);
}

std::string refusal_words(const IppRequest &request, const Body &body)
{
    switch (request.reason) {
    case IPP_REASON_NO_ROUTE:
        return no_route_words(request);
    case IPP_REASON_UNKNOWN_KIND:
        return kind_words(body);
    case IPP_REASON_TOO_SHORT:
    case IPP_REASON_TEXT_TOO_LONG:
    case IPP_REASON_WRONG_TAG:
        return fault_words(request, body);
    default:
        return ipp_reason_text(request.reason);
    }
}

std::string outcome_words(const IppRequest &request, const Body &body)
{
    if (request.reason == IPP_REASON_NONE) {
        return answer_words(request);
    }
    if (request.reason == IPP_REASON_BAD_CHECKSUM) {
        return std::string(ipp_reason_text(request.reason)) + ", " + answer_words(request) +
               " all the same";
    }
    return refusal_words(request, body) +
           (request.replied != 0 ? ", answered with a failure" : ", silence");
}

std::string argument_words(const IppRequest &request, const Body &body)
{
    const Reading reading = read_arguments(request, body);
    std::string words;
    for (const std::string &argument : reading.words) {
        words += (words.empty() ? "" : ", ") + argument;
    }
    return words;
}

nlohmann::json request_facts(const IppRequest &request, const Body &body)
{
    nlohmann::json facts = {{"bytes", request.bytes}};
    if (request.type != 0) {
        facts["frame_type"] = hex_byte(request.type);
    }
    if (request.has_code != 0) {
        facts["code"] = hex_code(request.code);
    }
    const std::string name = operation_name(request, body);
    if (!name.empty()) {
        facts["name"] = name;
    }
    return facts;
}

} // namespace sim
