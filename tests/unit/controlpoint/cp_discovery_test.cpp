/* SPDX-License-Identifier: MIT */
#include "cp_scripted_television.h"
#include "support/sockets.h"
#include "support/system_calls.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>

namespace
{

using namespace cp_test;

const Bytes search_bytes = {0xA5, 0xA5, 0x08, 0x00, 0x41, 0x49, 0x49, 0x50};

/* The answer of 192.168.1.5:8801, device type 0x0102. */
const Bytes answer_bytes = {0xA5, 0xA5, 12, 0, 192, 168, 1, 5, 0x61, 0x22, 0x02, 0x01};

Bytes answer_of(uint8_t last_address_byte)
{
    Bytes answer = answer_bytes;
    answer[7] = last_address_byte;
    return answer;
}

sockaddr_in place(const char *address, uint16_t port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = inet_addr(address);
    result.sin_port = htons(port);
    return result;
}

/* Stands at the port where televisions listen and answers each search with all of `answers`. */
class AnsweringTelevision
{
public:
    explicit AnsweringTelevision(std::vector<Bytes> all, const char *to = nullptr)
        : answers(std::move(all)), to_group(to),
          descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_in any = place("0.0.0.0", CP_SEARCH_PORT);
        ready = bind(descriptor, reinterpret_cast<const sockaddr *>(&any), sizeof any) == 0;
        EXPECT_TRUE(ready) << "is UDP port 12426 in use?";
        ip_mreq group = {};
        group.imr_multiaddr.s_addr = inet_addr(CP_SEARCH_GROUP);
        joined = setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group) == 0;
        const timeval pause = {0, 5000};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &pause, sizeof pause);
        thread = std::thread([this] { run(); });
    }
    ~AnsweringTelevision()
    {
        over = true;
        thread.join();
        close(descriptor);
    }
    AnsweringTelevision(const AnsweringTelevision &) = delete;
    AnsweringTelevision &operator=(const AnsweringTelevision &) = delete;

    Bytes last_search()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return search;
    }

    bool joined = false;

private:
    void run()
    {
        while (!over) {
            Bytes packet(64);
            sockaddr_in from = {};
            socklen_t size = sizeof from;
            const ssize_t got = recvfrom(descriptor, packet.data(), packet.size(), 0,
                                         reinterpret_cast<sockaddr *>(&from), &size);
            if (got > 0) {
                packet.resize(static_cast<size_t>(got));
                remember(packet);
                answer(from);
            }
        }
    }

    void remember(const Bytes &packet)
    {
        const std::lock_guard<std::mutex> guard(lock);
        search = packet;
    }

    void answer(sockaddr_in to) const
    {
        if (to_group != nullptr) {
            to.sin_addr.s_addr = inet_addr(to_group);
        }
        to.sin_port = htons(CP_ANSWER_PORT);
        for (const Bytes &one : answers) {
            sendto(descriptor, one.data(), one.size(), 0, reinterpret_cast<sockaddr *>(&to),
                   sizeof to);
        }
    }

    std::vector<Bytes> answers;
    const char *to_group;
    int descriptor;
    bool ready = false;
    std::atomic<bool> over{false};
    std::mutex lock;
    Bytes search;
    std::thread thread;
};

struct Found {
    CpStatus status = CP_OK;
    std::vector<CpTelevision> list;
};

Found discover(const CpSearch &search, size_t capacity = 16)
{
    Found found;
    found.list.resize(capacity);
    size_t count = 0;
    found.status = cp_discover(&search, found.list.data(), capacity, &count);
    found.list.resize(count);
    return found;
}

TEST(ControlPointSearch, IsEightFixedBytes)
{
    uint8_t packet[CP_SEARCH_SIZE];
    cp_build_search(packet);
    EXPECT_EQ(Bytes(packet, packet + sizeof packet), search_bytes);
}

TEST(ControlPointAnswer, CarriesAddressPortAndDeviceType)
{
    CpTelevision television = {};
    ASSERT_EQ(cp_decode_answer(view(answer_bytes), &television), CP_OK);
    EXPECT_EQ(television.address, inet_addr("192.168.1.5"));
    EXPECT_EQ(television.port, 8801);
    EXPECT_EQ(television.device_type, 0x0102);
    EXPECT_EQ(television.source, 0U);
}

TEST(ControlPointAnswer, IsRefusedWhenItIsCutOffAndTakenWhenItIsLonger)
{
    CpTelevision television = {};
    for (size_t size = 0; size < answer_bytes.size(); size++) {
        const Bytes part = front_of(answer_bytes, size);
        EXPECT_EQ(cp_decode_answer(view(part), &television), CP_PROTOCOL) << size;
    }
    EXPECT_EQ(cp_decode_answer(view(answer_bytes + Bytes{1, 2, 3}), &television), CP_OK);
}

TEST(ControlPointAnswer, IsRefusedWithOtherMagicAnotherLengthOrPortZero)
{
    for (size_t at = 0; at < 4; at++) {
        Bytes wrong = answer_bytes;
        wrong[at]++;
        CpTelevision television = {};
        EXPECT_EQ(cp_decode_answer(view(wrong), &television), CP_PROTOCOL) << at;
        EXPECT_EQ(television.port, 0);
    }
    Bytes no_port = answer_bytes;
    no_port[8] = no_port[9] = 0;
    CpTelevision television = {};
    EXPECT_EQ(cp_decode_answer(view(no_port), &television), CP_PROTOCOL);
}

TEST(ControlPointAnswer, IsMetAtItsSourceWhenItTellsNoAddress)
{
    CpTelevision television = {inet_addr("192.168.1.5"), inet_addr("10.0.0.1"), 8801, 1};
    EXPECT_EQ(cp_television_address(&television), inet_addr("192.168.1.5"));
    television.address = 0;
    EXPECT_EQ(cp_television_address(&television), inet_addr("10.0.0.1"));
    char text[16];
    cp_address_text(television.source, text);
    EXPECT_STREQ(text, "10.0.0.1");
    cp_address_text(0xFFFFFFFF, text);
    EXPECT_STREQ(text, "255.255.255.255");
}

TEST(ControlPointDiscovery, AsksOneHostAndTellsWhereTheAnswerCameFrom)
{
    AnsweringTelevision television({answer_bytes});
    const Found found = discover({"127.0.0.1", false, patience_ms, 1, 0});
    ASSERT_EQ(found.status, CP_OK);
    ASSERT_EQ(found.list.size(), 1U);
    EXPECT_EQ(found.list[0].address, inet_addr("192.168.1.5"));
    EXPECT_EQ(found.list[0].source, inet_addr("127.0.0.1"));
    EXPECT_EQ(found.list[0].port, 8801);
    EXPECT_EQ(found.list[0].device_type, 0x0102);
    EXPECT_EQ(television.last_search(), search_bytes);
}

TEST(ControlPointDiscovery, SearchesByMulticast)
{
    AnsweringTelevision television({answer_bytes});
    if (!television.joined) {
        GTEST_SKIP() << "no multicast here";
    }
    const Found found = discover({nullptr, false, patience_ms, 1, 0});
    EXPECT_EQ(found.status, CP_OK);
    EXPECT_EQ(found.list.size(), 1U);
    EXPECT_EQ(television.last_search(), search_bytes);
}

TEST(ControlPointDiscovery, HearsAnnouncementsOnlyWhenAsked)
{
    if (NO_GROUPS_BY_INTERFACE) {
        GTEST_SKIP() << "the emulator joins no group for an interface";
    }
    AnsweringTelevision television({answer_bytes}, CP_ANNOUNCEMENT_GROUP);
    if (!television.joined) {
        GTEST_SKIP() << "no multicast here";
    }
    EXPECT_EQ(discover({nullptr, true, patience_ms, 1, 0}).status, CP_OK);
    EXPECT_EQ(discover({nullptr, false, 100, 1, 0}).status, CP_NOT_FOUND);
}

/* A program that was stopped for an hour is no reason to flood the network. */
TEST(ControlPointDiscovery, MakesUpForNoSearchesThatItMissed)
{
    const Descriptor television(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in any = place("0.0.0.0", CP_SEARCH_PORT);
    ASSERT_EQ(bind(television.get(), reinterpret_cast<const sockaddr *>(&any), sizeof any), 0);
    std::atomic<int> searches{0};
    const Replaced clock(system_clock_gettime, [&](clockid_t which, timespec *to) {
        uint8_t packet[64];
        while (system_recv.real(television.get(), packet, sizeof packet, MSG_DONTWAIT) > 0) {
            searches++;
        }
        const int result = system_clock_gettime.real(which, to);
        to->tv_sec += searches > 0 ? 3600 : 0;
        return result;
    });
    EXPECT_EQ(discover({"127.0.0.1", false, 3600100, 1, 0}).status, CP_NOT_FOUND);
    EXPECT_GE(searches, 1);
    EXPECT_LE(searches, 2);
}

TEST(ControlPointDiscovery, ListsEachTelevisionOnceInOrderOfArrival)
{
    AnsweringTelevision television(
        {answer_of(7), answer_of(7), answer_of(3), answer_of(7), answer_of(3), answer_of(5)});
    const Found found = discover({"127.0.0.1", false, patience_ms, 3, 0});
    ASSERT_EQ(found.status, CP_OK);
    ASSERT_EQ(found.list.size(), 3U);
    EXPECT_EQ(found.list[0].address, inet_addr("192.168.1.7"));
    EXPECT_EQ(found.list[1].address, inet_addr("192.168.1.3"));
    EXPECT_EQ(found.list[2].address, inet_addr("192.168.1.5"));
}

TEST(ControlPointDiscovery, LingersForOthersOnlyAsLongAsItIsTold)
{
    AnsweringTelevision television({answer_of(7)});
    const auto begin = std::chrono::steady_clock::now();
    const Found found = discover({"127.0.0.1", false, patience_ms, 0, 1});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(patience_ms));
    EXPECT_EQ(found.status, CP_OK);
    EXPECT_EQ(found.list.size(), 1U);
}

TEST(ControlPointDiscovery, IgnoresWhateverIsNoAnswer)
{
    const Bytes wrong_length = {0xA5, 0xA5, 0, 12, 1, 1, 1, 1, 0x61, 0x22, 1, 0};
    AnsweringTelevision television(
        {search_bytes, wrong_length, Bytes(300, 0xA5), Bytes{}, answer_bytes});
    const Found found = discover({"127.0.0.1", false, patience_ms, 1, 0});
    ASSERT_EQ(found.status, CP_OK);
    EXPECT_EQ(found.list[0].address, inet_addr("192.168.1.5"));
}

TEST(ControlPointDiscovery, FillsNoMoreThanTheListHolds)
{
    AnsweringTelevision television({answer_of(1), answer_of(2), answer_of(3)});
    size_t most = 0;
    while (most < 2) { /* a slow machine may not answer in time */
        most = discover({"127.0.0.1", false, 200, 0, 0}, 2).list.size();
    }
    EXPECT_EQ(most, 2U);
}

TEST(ControlPointDiscovery, ListsNoOtherHostThanTheOneThatItAsks)
{
    AnsweringTelevision television({answer_bytes});
    /* It asks 127.0.0.2, where the television answers too, but from another address. */
    const Found found = discover({"127.0.0.2", false, 100, 1, 0});
    EXPECT_EQ(found.status, CP_NOT_FOUND);
}

TEST(ControlPointDiscovery, FindsNothingWhereNobodyAnswers)
{
    const Found found = discover({"127.0.0.1", false, 50, 0, 0});
    EXPECT_EQ(found.status, CP_NOT_FOUND);
    EXPECT_TRUE(found.list.empty());
    EXPECT_EQ(discover({"256.1.1.1", false, 50, 0, 0}).status, CP_NOT_FOUND);
}

TEST(ControlPointDiscovery, WaitsForThePortToBecomeFree)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in taken_port = place("0.0.0.0", CP_ANSWER_PORT);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&taken_port), sizeof taken_port),
              0);
    EXPECT_EQ(discover({"127.0.0.1", false, 50, 1, 0}).status, CP_SYSTEM);
    EXPECT_EQ(errno, EADDRINUSE);

    AnsweringTelevision television({answer_bytes});
    bool taken = true;
    const Replaced<decltype(system_bind)> freed_once_refused(
        system_bind, [&](int socket, const sockaddr *own, socklen_t size) {
            const int result = system_bind.real(socket, own, size);
            if (result != 0 && taken) {
                taken = false;
                close(descriptor);
            }
            return result;
        });
    EXPECT_EQ(discover({"127.0.0.1", false, patience_ms, 1, 0}).status, CP_OK);
    EXPECT_FALSE(taken);
}

TEST(ControlPointDiscovery, RefusesBadArguments)
{
    const CpSearch search = {"127.0.0.1", false, 1, 0, 0};
    CpTelevision list[1] = {};
    size_t found = 0;
    EXPECT_EQ(cp_discover(nullptr, list, 1, &found), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_discover(&search, nullptr, 1, &found), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_discover(&search, list, 0, &found), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_discover(&search, list, 1, nullptr), CP_BAD_ARGUMENT);
}

} // namespace
