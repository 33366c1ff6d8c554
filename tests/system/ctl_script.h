/* SPDX-License-Identifier: MIT */
/* tvlink-ctl and a television that answers it from a script. */
#pragma once

#include "system/sim_and_ctl.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <cstdlib>
#include <cstring>

#include <netinet/in.h>
#include <sys/socket.h>

/* A request that is expected and the reply that it gets, both without the rest of their frames: the
 * frame's type and the payload, as for bytes() in support/wire.h. */
struct Exchange {
    std::string request;
    std::string reply; /* empty: silence */
};

/* The frame around a type and a payload. */
inline Bytes framed(const Bytes &body)
{
    return wire_frame(body[0], {body.begin() + 1, body.end()});
}

/* The type and the payload of the next frame, as text; nothing when the other end has closed. */
inline std::string receive_body(int descriptor)
{
    const Bytes head = receive_bytes(descriptor, 7);
    if (head.size() < 7) {
        return "";
    }
    const size_t size = head[3] + head[4] * size_t{256} + head[5] * size_t{65536};
    const Bytes rest = receive_bytes(descriptor, size - 7);
    return rest.size() < size - 7 ? "" : hex({rest.begin() + 43, rest.end() - 21});
}

/* Runs tvlink-ctl against the script, to its end. */
inline Finished run_script(Words arguments, const std::vector<Exchange> &script)
{
    const Descriptor listener = listening_on();
    arguments.insert(arguments.end(),
                     {"--host", "127.0.0.1", "--port", std::to_string(port_of(listener.get()))});
    Program program(TVLINK_CTL_PATH, arguments);
    const Descriptor connection = accept_soon(listener.get());
    for (const Exchange &exchange : script) {
        EXPECT_EQ(receive_body(connection.get()), hex(bytes(exchange.request)));
        if (!exchange.reply.empty()) {
            send_bytes(connection.get(), framed(bytes(exchange.reply)));
        }
    }
    const std::optional<int> status = program.wait_for_exit();
    EXPECT_EQ(receive_body(connection.get()), "") << "an unexpected request";
    return {status, program.out(), program.err()};
}

inline void expect_script(const Words &arguments, const std::vector<Exchange> &script,
                          const std::string &out)
{
    const Finished result = run_script(arguments, script);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.out, out) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, "") << testing::PrintToString(arguments);
}

/* The television's first complaint is this one, behind its address. */
inline void expect_script_failure(const Words &arguments, const std::vector<Exchange> &script,
                                  int status, const std::string &complaint)
{
    const Finished result = run_script(arguments, script);
    EXPECT_EQ(result.status, status) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_NE(first_line(result.err).find(complaint), std::string::npos) << result.err;
}

/* Compressed by the television's own encoder. */
inline Bytes compressed(const Bytes &plain, int max_bits = 12)
{
    void *block = mem_alloc(1, static_cast<uint32_t>(plain.size()));
    std::memcpy(block, plain.data(), plain.size());
    auto *packed = static_cast<uint32_t *>(lzw_encode(block, max_bits));
    const auto *content = reinterpret_cast<const uint8_t *>(packed);
    const Bytes result(content, content + packed[-1]);
    std::free(packed - 2);
    std::free(static_cast<uint32_t *>(block) - 2);
    return result;
}

/* A number as hex text, low byte first. */
inline std::string little(uint32_t number, size_t width)
{
    Bytes result;
    for (size_t i = 0; i < width; i++) {
        result.push_back(static_cast<uint8_t>(number >> (8 * i)));
    }
    return hex(result);
}

/* A get reply with a list: code "00 20", tag "A1", its count words. */
inline std::string list_reply(const std::string &code, const std::string &tag,
                              const std::string &counts, const Bytes &packed)
{
    const size_t length = bytes(counts).size() + packed.size();
    return "06 01 " + code + " " + tag + " " + little(static_cast<uint32_t>(length), 4) + " " +
           counts + " " + hex(packed);
}

/* A get reply with a text. */
inline std::string text_reply(const std::string &code, const std::string &text)
{
    const Bytes data(text.begin(), text.end());
    return "06 01 " + code + " 08 " + little(static_cast<uint32_t>(data.size()), 2) + " " +
           hex(data);
}

/* A text in a field that is filled with zeros. */
inline Bytes text_field(const std::string &text, size_t size)
{
    Bytes field(text.begin(), text.end());
    field.resize(size);
    return field;
}

inline Bytes text_with_length(const std::string &text)
{
    return joined(
        {bytes(little(static_cast<uint32_t>(text.size()), 2)), {text.begin(), text.end()}});
}
