/* SPDX-License-Identifier: MIT */
/* Asks the system for its route for multicast. */
#include "doctor_collect.h"
#include "system.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

namespace ctl
{
namespace
{

struct RouteQuestion {
    nlmsghdr header;
    rtmsg route;
    rtattr attribute;
    uint32_t destination;
};

RouteQuestion question_for(uint32_t destination)
{
    RouteQuestion question = {};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = RTM_GETROUTE;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.route.rtm_family = AF_INET;
    question.route.rtm_dst_len = 32;
    question.attribute.rta_len = RTA_LENGTH(sizeof destination);
    question.attribute.rta_type = RTA_DST;
    question.destination = destination;
    return question;
}

std::string interface_name(unsigned index)
{
    char name[IF_NAMESIZE] = "";
    return if_indextoname(index, name) == nullptr ? "" : name;
}

/* The interface is one of the attributes that follow the fixed part of the message. */
DoctorRoute route_in(const char *data, size_t size)
{
    DoctorRoute result;
    rtattr attribute = {};
    size_t at = NLMSG_LENGTH(sizeof(rtmsg));
    while (at + sizeof attribute <= size) {
        memcpy(&attribute, data + at, sizeof attribute);
        if (attribute.rta_len < sizeof attribute || attribute.rta_len > size - at) {
            break;
        }
        if (attribute.rta_type == RTA_OIF && attribute.rta_len == RTA_LENGTH(sizeof(unsigned))) {
            unsigned index = 0;
            memcpy(&index, data + at + RTA_LENGTH(0), sizeof index);
            result.interface = interface_name(index);
        }
        at += RTA_ALIGN(attribute.rta_len);
    }
    return result;
}

DoctorRoute take_answer(int descriptor)
{
    alignas(nlmsghdr) char data[4096];
    const ssize_t got = recv(descriptor, data, sizeof data, 0);
    if (got < 0) {
        return {errno, ""};
    }
    const void *message = data; /* aligned for its header */
    const auto *header = static_cast<const nlmsghdr *>(message);
    if (!NLMSG_OK(header, static_cast<size_t>(got))) {
        return {EBADMSG, ""};
    }
    if (header->nlmsg_type == NLMSG_ERROR) {
        return {-static_cast<const nlmsgerr *>(NLMSG_DATA(header))->error, ""};
    }
    return route_in(data, header->nlmsg_len);
}

} // namespace

DoctorRoute doctor_route()
{
    const tools::Descriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    const RouteQuestion question = question_for(inet_addr(CP_SEARCH_GROUP));
    if (send(netlink.number, &question, sizeof question, 0) < 0) {
        return {errno, ""};
    }
    return take_answer(netlink.number);
}

} // namespace ctl
