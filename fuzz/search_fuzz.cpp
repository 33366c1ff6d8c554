/* Datagrams at the discovery socket. The body of the discovery thread runs here, from the creation
 * of its socket to its end; its replaced system calls deliver one datagram after the other.
 *
 * Input: the senders that the guard refuses; then of each datagram size, sender (4 bytes) and
 * bytes.
 *
 * Under test: source/discovery/discovery.cpp source/discovery/answer_packet.cpp */
#include "base/flags.h"
#include "support/fuzz_input.h"
#include "support/quiet_system.h"
#include "support/system_calls.h"
#include "tvlink.h"
#include "tvlink/discovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <netinet/in.h>

namespace
{

struct Network {
    FuzzInput input;
    uint32_t refused; /* the guard refuses addresses with one of these bits */
    std::vector<uint32_t> expected;
    std::vector<uint32_t> answered;
};

Network network;

} // namespace

static bool is_search(const uint8_t *bytes, size_t size)
{
    static const uint8_t SEARCH[] = {0xA5, 0xA5, 8, 0, 0x41, 0x49, 0x49, 0x50};
    return size >= sizeof SEARCH && memcmp(bytes, SEARCH, sizeof SEARCH) == 0;
}

static int admit(uint32_t peer_addr, void *)
{
    return (peer_addr & network.refused) == 0;
}

static ssize_t receive(int, void *data, size_t size, int, sockaddr *from, socklen_t *)
{
    if (network.input.left == 0) {
        flags_stop_running();
        errno = EAGAIN;
        return -1;
    }
    const size_t length = fuzz_u8(&network.input);
    sockaddr_in sender = {};
    sender.sin_family = AF_INET;
    sender.sin_addr.s_addr = fuzz_u32(&network.input);
    memcpy(from, &sender, sizeof sender);
    const FuzzInput datagram = fuzz_part(&network.input, length);
    const size_t taken = std::min(datagram.left, size);
    std::copy_n(datagram.at, taken, static_cast<uint8_t *>(data));
    if (is_search(datagram.at, datagram.left) && admit(sender.sin_addr.s_addr, nullptr)) {
        network.expected.push_back(sender.sin_addr.s_addr);
    }
    return static_cast<ssize_t>(taken);
}

static ssize_t answer(int, const void *data, size_t size, int, const sockaddr *to, socklen_t)
{
    static const uint8_t HEAD[] = {0xA5, 0xA5, 12, 0};
    sockaddr_in phone = {};
    memcpy(&phone, to, sizeof phone);
    must(size == 12 && memcmp(data, HEAD, sizeof HEAD) == 0, "an answer is one of 12 bytes");
    must(phone.sin_family == AF_INET && phone.sin_port == htons(IPP_ANSWER_PORT),
         "an answer goes to the port for answers");
    network.answered.push_back(phone.sin_addr.s_addr);
    return static_cast<ssize_t>(size);
}

/* The group-membership thread is not needed here. */
static int no_thread(pthread_t *thread, const pthread_attr_t *, void *(*)(void *), void *)
{
    *thread = pthread_self();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_silence_log();
    network = {{data, size}, 0, {}, {}};
    network.refused = fuzz_u8(&network.input);
    IppGuard guard = {};
    guard.admit = admit;
    ipp_set_guard(&guard);
    quiet_system();
    replace<receive>(system_recvfrom);
    replace<answer>(system_sendto);
    replace<no_thread>(system_pthread_create);

    flags_start_run();
    must(udp_thread(nullptr) == nullptr, "the thread ends well");
    must(network.answered == network.expected, "searches are answered, and nothing else is");

    restore_system_calls();
    ipp_set_guard(nullptr);
    return 0;
}
