/* SPDX-License-Identifier: MIT */
#include "cp_address.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <sys/socket.h>

sockaddr_in cp_socket_address(uint32_t address, uint16_t port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = address;
    result.sin_port = htons(port);
    return result;
}

CpStatus cp_resolve(const char *host, uint16_t port, sockaddr_in *address)
{
    if (host == nullptr || port == 0) {
        return CP_BAD_ARGUMENT;
    }
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int error = getaddrinfo(host, nullptr, &wanted, &found);
    if (error == EAI_MEMORY) {
        errno = ENOMEM;
    }
    if (error == EAI_SYSTEM || error == EAI_MEMORY) {
        return CP_SYSTEM;
    }
    if (error != 0) {
        return CP_NOT_FOUND;
    }
    memcpy(address, found->ai_addr, sizeof *address);
    address->sin_port = htons(port);
    freeaddrinfo(found);
    return CP_OK;
}

void cp_address_text(uint32_t address, char text[16])
{
    const in_addr wire = {address};
    inet_ntop(AF_INET, &wire, text, 16);
}
