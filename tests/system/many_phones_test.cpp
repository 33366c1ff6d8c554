/* SPDX-License-Identifier: MIT */
/* Many phones at once on one service, over real sockets. */
#include "support/phone.h"
#include "support/recording_host.h"
#include "support/running_service.h"
#include "support/service_facts.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

namespace
{

/* The service's queue holds 49 requests: so many may be on their way at any time. */
const int MANY_PHONES = 16;
const int REQUESTS_AT_ONCE = 3;
const int ROUNDS = 40;

const size_t TYPE_AT = 50;

Bytes little_endian(uint32_t value, size_t size)
{
    Bytes result;
    for (size_t i = 0; i < size; i++) {
        result.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return result;
}

Bytes text_bytes(const std::string &text)
{
    return joined(
        {little_endian(static_cast<uint32_t>(text.size()), 2), Bytes(text.begin(), text.end())});
}

Bytes question(const std::string &text)
{
    return wire_frame(0x21, joined({bytes("04 50 08"), text_bytes(text)}));
}

/* The answer has one byte more than its fields. */
std::string reply(const std::string &text)
{
    return hex(wire_frame(0x22, joined({bytes("04 50 01"), text_bytes(text), bytes("00")})));
}

Bytes key_press(uint32_t key, uint32_t value)
{
    return wire_frame(0x07, joined({bytes("09 01 02 06"), little_endian(key, 4), bytes("06"),
                                    little_endian(value, 4)}));
}

std::string key_reply()
{
    return hex(wire_frame(0x08, bytes("09 01 00")));
}

std::string event(uint32_t number)
{
    return hex(wire_frame(0x09, joined({bytes("11 70 04 03"), little_endian(number, 2),
                                        bytes("08 00 00 00 00 0C 00 00 00 00")})));
}

std::string words(int phone, int number)
{
    return "phone " + std::to_string(phone) + " asks " + std::to_string(number);
}

void expect_answer(const Phone &phone, const std::string &text)
{
    phone.send(question(text));
    EXPECT_EQ(hex(phone.read_frame()), reply(text));
}

/* Runs the body for each of so many phones at once. */
void at_once(int phones, const std::function<void(int number)> &body)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < phones; i++) {
        threads.emplace_back(body, i);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

class ManyPhones : public testing::Test
{
protected:
    void SetUp() override
    {
        ipp_set_log_sink(ignore_line, nullptr);
        tv_ippRpcFunSet = echo_text;
    }

    void TearDown() override
    {
        tv_ippRpcFunSet = nullptr;
        ipp_set_log_sink(nullptr, nullptr);
    }
};

TEST_F(ManyPhones, EachGetsItsOwnRepliesInTheOrderOfItsRequests)
{
    const RunningService service;
    at_once(MANY_PHONES, [](int number) {
        const Phone phone;
        for (int round = 0; round < ROUNDS; round++) {
            Bytes requests;
            for (int i = 0; i < REQUESTS_AT_ONCE; i++) {
                requests = joined({requests, question(words(number, round * 100 + i))});
            }
            phone.send(requests);
            for (int i = 0; i < REQUESTS_AT_ONCE; i++) {
                ASSERT_EQ(hex(phone.read_frame()), reply(words(number, round * 100 + i)));
            }
            ASSERT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
        }
    });
}

TEST_F(ManyPhones, ReachTheHostInTheOrderOfTheirRequests)
{
    RecordingHost host;
    const RunningService service;
    at_once(MANY_PHONES, [](int number) {
        const Phone phone;
        for (uint32_t i = 0; i < 30; i += 3) {
            const uint32_t key = static_cast<uint32_t>(number);
            phone.send(joined({key_press(key, i), key_press(key, i + 1), key_press(key, i + 2)}));
            for (int replies = 0; replies < 3; replies++) {
                ASSERT_EQ(hex(phone.read_frame()), key_reply());
            }
        }
    });
    std::vector<std::vector<std::string>> by_phone(MANY_PHONES);
    for (const std::string &call : host.calls()) {
        int key = -1;
        ASSERT_EQ(std::sscanf(call.c_str(), "set_tv_key %d", &key), 1) << call;
        by_phone.at(static_cast<size_t>(key)).push_back(call);
    }
    for (int number = 0; number < MANY_PHONES; number++) {
        std::vector<std::string> expected;
        for (int i = 0; i < 30; i++) {
            expected.push_back("set_tv_key " + std::to_string(number) + " " + std::to_string(i));
        }
        EXPECT_EQ(by_phone[static_cast<size_t>(number)], expected);
    }
}

TEST_F(ManyPhones, GetEveryEventInOrderBetweenTheirReplies)
{
    const uint32_t events = 150;
    const int requests = 60;
    const RunningService service;
    std::vector<Phone> phones(MANY_PHONES / 2);
    for (const Phone &phone : phones) {
        ASSERT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    std::thread host([&] {
        for (uint32_t i = 0; i < events; i++) {
            EXPECT_EQ(ipp_report_dev_event(0x7011, i, nullptr, nullptr, 0), 0);
        }
    });
    at_once(static_cast<int>(phones.size()), [&](int number) {
        const Phone &phone = phones[static_cast<size_t>(number)];
        uint32_t events_seen = 0;
        int replies_seen = 0;
        phone.send(question(words(number, 0)));
        while (events_seen < events || replies_seen < requests) {
            const Bytes frame = phone.read_frame();
            ASSERT_GT(frame.size(), TYPE_AT);
            if (frame[TYPE_AT] == 0x09) {
                ASSERT_EQ(hex(frame), event(events_seen++));
                continue;
            }
            ASSERT_EQ(hex(frame), reply(words(number, replies_seen++)));
            if (replies_seen < requests) {
                phone.send(question(words(number, replies_seen)));
            }
        }
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    });
    host.join();
}

TEST_F(ManyPhones, ThatVanishDoNotDisturbTheOthers)
{
    const RunningService service;
    std::atomic<bool> done(false);
    std::thread steady([&] {
        const Phone phone;
        for (int i = 0; !done; i++) {
            expect_answer(phone, words(0, i));
        }
        expect_answer(phone, "still here");
    });
    for (int i = 0; i < 100; i++) {
        Phone vanishing;
        vanishing.send(joined({question("1"), question("2"), question("3")}));
        vanishing.reset();
        const Phone next; /* its number may be the one that has become free */
        expect_answer(next, words(1, i));
    }
    done = true;
    steady.join();
}

TEST_F(ManyPhones, MayAllBeConnectedAtOnceAndAllLeave)
{
    const RunningService service;
    at_once(4, [](int number) {
        std::vector<Phone> phones(25);
        for (size_t i = 0; i < phones.size(); i++) {
            expect_answer(phones[i], words(number, static_cast<int>(i)));
        }
        for (size_t i = 0; i < phones.size(); i += 2) {
            phones[i].reset();
        }
        for (size_t i = 1; i < phones.size(); i += 2) {
            expect_answer(phones[i], words(number, static_cast<int>(i)));
        }
    });
    EXPECT_TRUE(wait_for_connected(0));
    expect_answer(Phone(), "one more");
}

} // namespace
