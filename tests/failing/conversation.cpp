/* SPDX-License-Identifier: MIT */
#include "conversation.h"

#include "support/bulk_client.h"
#include "support/datagrams.h"
#include "support/phone.h"
#include "support/wait_until.h"
#include "tvlink/bulk.h"
#include "tvlink/discovery_socket.h"
#include "tvlink/frame.h"
#include "tvlink/host/push.h"
#include "tvlink/lzw.h"
#include "unit/methods/handler_rows.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include <poll.h>

namespace
{

const char *const SEARCH = "A5 A5 08 00 41 49 49 50";
const char *const CAPTURE = "01 18 01 EE EE FE FF EE FD FF";
const char *const CALL = "04 50 08 02 00 'hi'";
const int SEARCHES = 3; /* at a time: so often the discovery receives something */
const int32_t PATIENCE_MS = 10000;
const size_t LENGTH_FIELD = 4;
const size_t PORT_AT = 55; /* of a capture's reply: frame type, code and tag stand before it */

/* A slot may still run when the service has stopped. */
RecordingHost &everlasting_host()
{
    static RecordingHost *const host = new RecordingHost;
    return *host;
}

class Conversation
{
public:
    explicit Conversation(Expect expect)
        : wait_ms_(expect == Expect::EVERYTHING ? PATIENCE_MS : SHORT_WAIT_MS),
          host_(everlasting_host()), phone_(Phone::Later())
    {
        host_.answer(plain_answers());
    }

    std::string hold()
    {
        if (ipp_init(1, "name", "serial") != 0) {
            return "the service did not start";
        }
        search();
        if (phone_.try_connect()) {
            talk();
        } else {
            miss("the connection");
        }
        ipp_finish();
        return missed_;
    }

private:
    void miss(const std::string &what)
    {
        missed_ += missed_.empty() ? what : ", " + what;
    }

    static bool readable(int fd, int wait_ms)
    {
        pollfd waiting = {fd, POLLIN, 0};
        return poll(&waiting, 1, wait_ms) == 1;
    }

    bool readable(int fd) const
    {
        return readable(fd, wait_ms_);
    }

    /* Whole, or nothing. */
    Bytes next_frame() const
    {
        if (!readable(phone_.fd())) {
            return {};
        }
        const Bytes frame = phone_.read_frame();
        return frame.size() >= FRAME_SIZE_OF_NOTHING ? frame : Bytes();
    }

    /* The connection may be gone. */
    void say(uint8_t type, const Bytes &payload) const
    {
        const Bytes frame = wire_frame(type, payload);
        ::send(phone_.fd(), frame.data(), frame.size(), MSG_NOSIGNAL);
    }

    bool answered(uint8_t type, const Bytes &payload, uint8_t reply_type) const
    {
        say(type, payload);
        const Bytes reply = next_frame();
        return !reply.empty() && reply[TYPE_AT] == reply_type;
    }

    void search()
    {
        const Descriptor ear = datagram_socket(IPP_ANSWER_PORT);
        const Descriptor searcher = datagram_socket();
        wait_until([] { return __atomic_load_n(&g_udp_sock, __ATOMIC_ACQUIRE) >= 0; },
                   std::chrono::milliseconds(SHORT_WAIT_MS));
        for (int tries = wait_ms_ / SHORT_WAIT_MS; tries > 0; tries--) {
            for (int i = 0; i < SEARCHES; i++) {
                send_datagram(searcher.get(), bytes(SEARCH), "127.0.0.1", IPP_SEARCH_PORT);
            }
            if (readable(ear.get(), SHORT_WAIT_MS)) {
                return;
            }
        }
        miss("the answer to the search");
    }

    void talk()
    {
        if (!answered(FRAME_HEARTBEAT, {}, FRAME_HEARTBEAT)) {
            miss("the answer to the heartbeat");
        }
        ask_everything();
        if (!answered(FRAME_RPC, bytes(CALL), FRAME_RPC_REPLY)) {
            miss("the answer to the call");
        }
        capture();
        hear_events();
        hear_push();
    }

    void ask_everything()
    {
        for (const HandlerRow &row : handler_rows()) {
            if (row.reached == Reached::DIRECTLY || row.reply.empty()) {
                continue;
            }
            const bool set = row.reached == Reached::BY_SET;
            const auto reply_type =
                static_cast<uint8_t>(std::strtoul(row.reply.c_str(), nullptr, 16));
            host_.answer(row.answers);
            if (!answered(set ? FRAME_SET : FRAME_GET, bytes(row.request), reply_type)) {
                miss(std::string("the answer of ") + row.name);
                return;
            }
        }
        host_.answer(plain_answers());
    }

    void capture()
    {
        HostAnswers picture = plain_answers();
        picture.outs = {static_cast<uint32_t>(picture.data.size())};
        host_.answer(picture);
        say(FRAME_GET, bytes(CAPTURE));
        const Bytes reply = next_frame();
        const uint32_t port =
            reply.size() > PORT_AT + 1 ? reply[PORT_AT] + reply[PORT_AT + 1] * 256U : 0;
        const Descriptor client =
            port == 0 ? Descriptor() : bulk_connection(static_cast<uint16_t>(port));
        if (client.get() < 0 || !readable(client.get()) ||
            receive_bytes(client.get(), LENGTH_FIELD + picture.data.size()).size() !=
                LENGTH_FIELD + picture.data.size()) {
            miss("the capture");
        }
    }

    void hear_events()
    {
        ipp_report_dev_event(7, 1, "text", "data", 4);
        ipp_report_dev_event2(8, 1, "one", "two", "data", 4);
        for (int i = 0; i < 2; i++) {
            const Bytes event = next_frame();
            if (event.empty() || event[TYPE_AT] != FRAME_EVENT) {
                miss("an event");
                return;
            }
        }
    }

    void hear_push()
    {
        CtrlPoint reference = {};
        CtrlPoint *cp = &reference;
        void *data = std::calloc(1, 8);
        if (ipp_connected_ctrlpoints(&reference, 1) != 1 || start_egp_thread(&cp, data, 8) != 0) {
            std::free(data);
            miss("a reference for the push");
            return;
        }
        const Bytes push = next_frame();
        if (push.empty() || push[TYPE_AT] != FRAME_GET_REPLY) {
            miss("the push");
        }
    }

    static constexpr size_t TYPE_AT = FRAME_BODY_OFFSET;
    static constexpr size_t FRAME_SIZE_OF_NOTHING = FRAME_OVERHEAD;

    int wait_ms_;
    RecordingHost &host_;
    Phone phone_;
    std::string missed_;
};

int answer_call(char *answer, const char *)
{
    std::strcpy(answer, "hello");
    return 1;
}

} // namespace

std::string hold_conversation(Expect expect)
{
    tv_ippRpcFunSet = answer_call;
    return Conversation(expect).hold();
}
