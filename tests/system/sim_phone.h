/* SPDX-License-Identifier: MIT */
/* A phone that asks a simulated television and understands how the answers are packed. */
#pragma once

#include "system/sim_and_ctl.h"

#include "support/phone.h"
#include "support/temporary_file.h"

#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr uint8_t GET = 0x05;
constexpr uint8_t GET_REPLY = 0x06;
constexpr uint8_t SET = 0x07;
constexpr uint8_t SET_REPLY = 0x08;
constexpr uint8_t EVENT = 0x09;
constexpr uint8_t CALL = 0x21;
constexpr uint8_t CALL_REPLY = 0x22;

inline uint8_t type_of(const Bytes &frame)
{
    return frame.size() > 50 ? frame[50] : uint8_t{0};
}

inline Bytes payload_of(const Bytes &frame)
{
    return frame.size() < 72 ? Bytes() : Bytes(frame.begin() + 51, frame.end() - 21);
}

/* The payload of the next frame that is no event. */
inline Bytes next_answer(const Phone &phone)
{
    Bytes frame = phone.read_frame();
    while (type_of(frame) == EVENT) {
        frame = phone.read_frame();
    }
    return payload_of(frame);
}

inline std::string get(const Phone &phone, const std::string &request)
{
    phone.send(wire_frame(GET, bytes(request)));
    return hex(next_answer(phone));
}

inline std::string set(const Phone &phone, const std::string &request)
{
    phone.send(wire_frame(SET, bytes(request)));
    return hex(next_answer(phone));
}

/* The answer to a string call. */
inline std::string call(const Phone &phone, const std::string &text)
{
    const Bytes length = {static_cast<uint8_t>(text.size()), 0};
    phone.send(
        wire_frame(CALL, joined({bytes("04 50 08"), length, Bytes(text.begin(), text.end())})));
    const Bytes answer = next_answer(phone);
    return answer.size() < 6 ? hex(answer) : std::string(answer.begin() + 5, answer.end() - 1);
}

/* The payload of the next event, as it must come. */
inline std::string next_event(const Phone &phone)
{
    const Bytes frame = phone.read_frame();
    return (type_of(frame) == EVENT ? "" : "no event: ") + hex(payload_of(frame));
}

inline Bytes expanded(const Bytes &packed)
{
    void *in = mem_alloc(1, static_cast<uint32_t>(packed.size()));
    memcpy(in, packed.data(), packed.size());
    uint32_t *out = static_cast<uint32_t *>(lzw_decode(in));
    free(static_cast<uint32_t *>(in) - 2);
    if (out == nullptr) {
        return {};
    }
    const uint8_t *data = reinterpret_cast<const uint8_t *>(out);
    const Bytes result(data, data + out[-1]);
    free(out - 2);
    return result;
}

/* A compressed list: what comes before the compressed bytes but for their length, and the bytes
 * expanded. */
struct List {
    std::string head;
    std::string content;
};

inline List opened_list(const Bytes &payload, size_t counts)
{
    const size_t head = 8 + counts;
    if (payload.size() < head) {
        return {hex(payload), ""};
    }
    const auto at = [&](size_t i) { return payload.begin() + static_cast<std::ptrdiff_t>(i); };
    return {hex(joined({Bytes(at(0), at(4)), Bytes(at(8), at(head))})),
            hex(expanded(Bytes(at(head), payload.end())))};
}

inline List get_list(const Phone &phone, const std::string &request, size_t counts = 2)
{
    phone.send(wire_frame(GET, bytes(request)));
    return opened_list(next_answer(phone), counts);
}

/* A television and a phone that is connected to it. */
class SimAndPhone : public testing::Test
{
protected:
    SimAndPhone() : sim(start_sim())
    {
    }

    std::unique_ptr<Program> sim;
    Phone phone;
};
