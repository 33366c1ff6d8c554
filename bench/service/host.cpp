/* SPDX-License-Identifier: MIT */
#include "host.h"

#include "bare_server.h"
#include "messages.h"
#include "tvlink.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

uint64_t now_ns()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

static bool answer(uint64_t number)
{
    return write(STDOUT_FILENO, &number, sizeof number) == sizeof number;
}

/* ---- The service */

static int accept_key(uint32_t, uint32_t)
{
    return 0;
}

static int copy_long_text(char *buffer)
{
    std::memcpy(buffer, long_text().data(), LONG_TEXT_SIZE);
    return 0;
}

static void *copy_channel_list(uint16_t *count)
{
    static const void *const list = channel_list();
    uint32_t *header = static_cast<uint32_t *>(std::malloc(2 * sizeof *header + LIST_SIZE));
    header[0] = 1;
    header[1] = LIST_SIZE;
    *count = LIST_ENTRIES;
    return std::memcpy(header + 2, list, LIST_SIZE);
}

static uint64_t result_of(char question)
{
    const uint64_t began = now_ns();
    switch (question) {
    case EVENT_REPORT:
        ipp_report_dev_event(EVENT_CODE, EVENT_VALUE, EVENT_TEXT, nullptr, 0);
        return began;
    case SERVICE_STOP:
        ipp_finish();
        return now_ns() - began;
    case ALLOCATIONS:
        return allocation_count();
    default:
        return take_random_number();
    }
}

static bool start_service(uint32_t most_phones, bool plain)
{
    static TvMethodTable table = {};
    table.set_tv_key = accept_key;
    table.get_tv_currentposition = copy_long_text;
    table.get_tv_channelcode = copy_channel_list;
    register_tv_method(&table);
    ipp_set_log_sink(ipp_log_discard, nullptr);
    IppGuard guard = IPP_GUARD_RECOMMENDED;
    guard.max_ctrlpoints = most_phones;
    ipp_set_guard(plain ? nullptr : &guard);
    return ipp_init(1, "bench", nullptr) == IPP_OK;
}

int host_serve(uint32_t most_phones, bool plain)
{
    if (!start_service(most_phones, plain)) {
        std::fputs("the service does not start; is port 8801 free?\n", stderr);
        return 1;
    }
    bool served = answer(IPP_CONTROL_PORT);
    char question = 0;
    while (served && question != SERVICE_STOP && read(STDIN_FILENO, &question, 1) == 1) {
        served = answer(result_of(question));
    }
    return 0;
}

/* ---- The bare server */

static bare_frame frame_of(Bytes *bytes)
{
    return {bytes->data(), bytes->size()};
}

int bare_host_serve()
{
    static Bytes key = key_reply();
    static Bytes text = text_reply();
    static Bytes event = event_frame();
    const bare_answers answers = {frame_of(&key),     frame_of(&text), frame_of(&event),
                                  long_text().data(), LONG_TEXT_SIZE,  text_offset()};
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {}; /* a port of the system's choice */
    socklen_t size = sizeof address;
    if (listen(listener, 20) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        !answer(ntohs(address.sin_port))) {
        return 1;
    }
    bare_serve(&answers, listener, STDIN_FILENO, STDOUT_FILENO);
    return 0;
}
