/* SPDX-License-Identifier: MIT */
/* Requests and their replies. */

#include "table.h"
#include "tvlink/frame.h"
#include "tvlink/lzw.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

static constexpr int KEYS = 50; /* in a round */

static double key_us(int phone, int count)
{
    static const Bytes request = key_request();
    static const size_t reply_size = key_reply().size();
    return round_trip_us(phone, request, reply_size, count);
}

/* Compares what the function measures on the last of so many phones. It fails when the others,
 * which are silent, have been dropped meanwhile. */
static Samples compare_with_floor(Bench *bench, const std::string &what, int rounds, int phones,
                                  const std::function<double(int)> &measure)
{
    const std::vector<int> ours = connect_phones(start_service(*bench, phones), phones);
    const std::vector<int> floor = connect_phones(start_floor(*bench, phones), phones);
    const Samples figures = compare(bench, what, "us", rounds,
                                    {{"service", [&] { return measure(ours.back()); }},
                                     {floor_name(*bench), [&] { return measure(floor.back()); }}});
    press_key(ours.front());
    return figures;
}

void run_key(Bench *bench)
{
    compare_with_floor(bench, "round trip of a key, p50", amount(*bench, 1500, 200), 1,
                       [](int phone) { return key_us(phone, KEYS); });
}

void run_many(Bench *bench)
{
    compare_with_floor(bench, "a key, 1,000 more phones connected, p50", amount(*bench, 150, 20),
                       1001, [](int phone) { return key_us(phone, 2 * KEYS); });
}

void run_text(Bench *bench)
{
    const Bytes reply = text_reply();
    compare_with_floor(bench, "a text of 60,000 bytes, p50", amount(*bench, 1000, 100), 1,
                       [&](int phone) {
                           expect(phone, text_request(), reply);
                           return round_trip_us(phone, text_request(), reply.size(), 20);
                       });
}

void run_flight(Bench *bench)
{
    static constexpr int DEPTH = 48; /* one less than the queue holds */
    const Samples times = compare_with_floor(
        bench, "48 keys in flight, time of each", amount(*bench, 300, 40), 1,
        [](int phone) { return median(9, [&] { return pipelined_us(phone, 4 * DEPTH, DEPTH); }); });
    print_line(*bench, "the same, as requests a second", 1e3 / percentile(times, 0.5), "k/s");
}

void run_redis(Bench *bench)
{
    static constexpr uint16_t PORT = 16379;
    static const std::string PING = "*1\r\n$4\r\nPING\r\n";
    static const size_t PONG_SIZE = std::strlen("+PONG\r\n");
    const int theirs = connect_to(start_foreign(
        {"redis-server", "--port", std::to_string(PORT), "--save", "", "--logfile", "/dev/null"},
        PORT));
    const int ours = connect_phone(start_service(*bench, 1));
    const Bytes ping(PING.begin(), PING.end());
    compare(bench, "a key beside a PING, p50", "us", amount(*bench, 1000, 200),
            {{"service", [=] { return key_us(ours, KEYS); }},
             {"redis", [&] { return round_trip_us(theirs, ping, PONG_SIZE, KEYS); }}});
}

/* ---- A long list */

static void read_list(int phone)
{
    Bytes bytes(FRAME_LENGTH_END);
    uint32_t size = 0;
    receive_all(phone, &bytes);
    std::memcpy(&size, bytes.data() + FRAME_LENGTH_OFFSET, sizeof size);
    bytes.resize(size - FRAME_LENGTH_END);
    receive_all(phone, &bytes);
}

/* The longest round trip of a key while another phone waits for the list, in ms. */
static double worst_key_ms(int list_phone, int key_phone)
{
    std::atomic<bool> there{false};
    double worst = 0;
    send_all(list_phone, list_request(), list_request().size());
    std::thread reader([&] {
        read_list(list_phone);
        there = true;
    });
    do {
        worst = std::max(worst, key_us(key_phone, 1) / 1e3);
    } while (!there);
    reader.join();
    return worst;
}

static double encode_ms(const void *list)
{
    const uint64_t before = now_ns();
    release_block(lzw_encode(list, LIST_BITS));
    return static_cast<double>(now_ns() - before) / 1e6;
}

void run_list16(Bench *bench)
{
    const std::vector<int> phones = connect_phones(start_service(*bench, 2), 2);
    const void *list = channel_list();
    const Samples worst =
        compare(bench, "worst key during a list of 16 MiB, p50", "ms", amount(*bench, 40, 3),
                {{"service", [&] { return worst_key_ms(phones[0], phones[1]); }},
                 {"lzw_encode", [=] { return encode_ms(list); }}});
    print_line(*bench, "the same, p100", percentile(worst, 1), "ms");
}
