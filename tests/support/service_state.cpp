/* SPDX-License-Identifier: MIT */
#include "support/service_state.h"

#include "tvlink.h"
#include "tvlink/discovery.h"
#include "tvlink/flags.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

bool of_discovery(const std::string &line)
{
    for (const char *part : {"notify_cp_multicast", "groupcast", "IP_ADD_MEMBERSHIP", "soc_close",
                             "zqt===  udp_thread"}) {
        if (line.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string own_lines(const CapturedLines &lines)
{
    std::string text;
    for (const std::string &line : lines.out()) {
        text += of_discovery(line) ? "" : line;
    }
    return text;
}

void expect_alive(const Phone &phone)
{
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}

void expect_stopped()
{
    EXPECT_EQ(g_is_inited, 0);
    EXPECT_EQ(g_thread_run, 0);
    EXPECT_LT(g_tcp_sock, 0);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_EQ(g_cp_list.head, nullptr);
    EXPECT_EQ(pthread_mutex_trylock(&g_cp_list_mutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&g_cp_list_mutex), 0);
    const Descriptor listener = listening_on(IPP_CONTROL_PORT);
    EXPECT_EQ(port_of(listener.get()), IPP_CONTROL_PORT);
}

int32_t discovery_socket()
{
    return __atomic_load_n(&g_udp_sock, __ATOMIC_ACQUIRE);
}

Descriptor holder_of_the_search_port()
{
    Descriptor holder(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(IPP_SEARCH_PORT);
    EXPECT_EQ(bind(holder.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return holder;
}
