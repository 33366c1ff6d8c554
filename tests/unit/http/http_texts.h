/* SPDX-License-Identifier: MIT */
/* Texts and lines of more than one part of the client. */
#pragma once

#include <cstdint>
#include <string>

constexpr uint64_t SECOND_US = 1000000;

inline const char *const RECEIVED = "zqt===  web_tcpclient_recv 75\n";

inline std::string zeros(size_t count)
{
    return std::string(count, '\0');
}
