/* SPDX-License-Identifier: MIT */
/* Events, and the same bytes published by mosquitto. */

#include "table.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

static constexpr uint64_t KEY_EVERY_NS = 10000000000;

/* From the report until the last phone has the event: the median of so many. Now and then each
 * phone presses a key, or it would be dropped as silent. */
static std::function<double()> reports(const Server &server, int count, int events)
{
    const size_t size = event_frame().size();
    const std::vector<int> phones = connect_phones(server, count);
    const Crowd crowd = gather(phones);
    const auto report_us = [=] {
        send_question(server, EVENT_REPORT);
        await_all(crowd, size);
        const uint64_t ended = now_ns();
        return static_cast<double>(ended - read_answer(server)) / 1e3;
    };
    return [=, heard = now_ns()]() mutable {
        if (now_ns() - heard > KEY_EVERY_NS) {
            std::for_each(phones.begin(), phones.end(), press_key);
            heard = now_ns();
        }
        return median(events, report_us);
    };
}

/* ---- mosquitto, and as much of MQTT as publishes a message. All packets are shorter than 128. */

static Server start_broker()
{
    static constexpr uint16_t PORT = 11883;
    const std::string configuration = "listener " + std::to_string(PORT) +
                                      " 127.0.0.1\n"
                                      "allow_anonymous true\n"
                                      "set_tcp_nodelay true\n"
                                      "user root\n"
                                      "log_dest none\n";
    const int file = memfd_create("mosquitto", 0); /* the broker inherits it */
    if (write(file, configuration.data(), configuration.size()) < 0) {
        fail("the configuration of mosquitto");
    }
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    return start_foreign({"sh", "-c", "exec mosquitto -c " + path + " 2>/dev/null"}, PORT);
}

static Bytes packet(char type, const std::string &body)
{
    const std::string whole = std::string{type, static_cast<char>(body.size())} + body;
    return Bytes(whole.begin(), whole.end());
}

static std::string text(const std::string &characters)
{
    return std::string{'\0', static_cast<char>(characters.size())} + characters;
}

static int connect_client(const Server &broker, int number)
{
    static const std::string PROTOCOL = text("MQTT") + std::string("\4\2\0\0", 4);
    const int client = connect_to(broker);
    expect(client, packet(0x10, PROTOCOL + text(std::to_string(number))), {0x20, 2, 0, 0});
    return client;
}

static int connect_subscriber(const Server &broker, int number)
{
    const std::string topic = std::string("\0\1", 2) + text("tv") + '\0';
    const int client = connect_client(broker, number);
    expect(client, packet('\x82', topic), {0x90, 3, 0, 1, 0});
    return client;
}

static std::function<double()> publications(int phones, int events)
{
    const Server broker = start_broker();
    const int publisher = connect_client(broker, phones);
    std::vector<int> clients;
    for (int i = 0; i < phones; i++) {
        clients.push_back(connect_subscriber(broker, i));
    }
    const Crowd crowd = gather(clients);
    const Bytes payload = event_payload();
    const Bytes message = packet(0x30, text("tv") + std::string(payload.begin(), payload.end()));
    const auto publish_us = [=] {
        const uint64_t began = now_ns();
        send_all(publisher, message, message.size());
        await_all(crowd, message.size());
        return static_cast<double>(now_ns() - began) / 1e3;
    };
    return [=] { return median(events, publish_us); };
}

/* ---- The rows */

static std::vector<Contender> service_and_floor(const Bench &bench, int phones, int events)
{
    return {{"service", reports(start_service(bench, phones), phones, events)},
            {floor_name(bench), reports(start_floor(bench, phones), phones, events)}};
}

void run_event5(Bench *bench)
{
    compare(bench, "event, until the last of 5 phones has it", "us", amount(*bench, 1500, 200),
            service_and_floor(*bench, 5, 10));
}

void run_event500(Bench *bench)
{
    std::vector<Contender> contenders = service_and_floor(*bench, 500, 3);
    if (bench->other.empty()) {
        contenders.push_back({"mosquitto", publications(500, 3)});
    }
    compare(bench, "event, until the last of 500 phones has it", "us", amount(*bench, 250, 20),
            contenders);
}
