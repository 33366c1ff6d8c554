/* SPDX-License-Identifier: MIT */
/* A television that a phone asks: what its host is called with and what the phone gets. */
#pragma once

#include "support/captured_lines.h"
#include "support/host_connection.h"
#include "support/recording_host.h"
#include "tvlink/identity.h"

#include <cstring>
#include <errno.h>

#include <gtest/gtest.h>

using Handler = int (*)(CtrlPoint *cp, uint8_t *request, int32_t length);
using Lines = std::vector<std::string>;

class AskedTelevision : public testing::Test
{
protected:
    AskedTelevision()
    {
        set_identity("", "");
    }

    ~AskedTelevision() override
    {
        tv_ippRpcFunSet = nullptr;
        ipp_set_guard(nullptr);
        set_identity("", "");
    }

    static void set_identity(const std::string &name, const std::string &serial)
    {
        std::memset(gTvName, 0, sizeof gTvName);
        std::memset(gTvSN, 0, sizeof gTvSN);
        name.copy(gTvName, IDENTITY_SIZE - 1);
        serial.copy(gTvSN, IDENTITY_SIZE - 1);
    }

    static void refuse_bad_tags()
    {
        IppGuard guard = {};
        guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    /* The call is given a block of exactly this size, so that a sanitizer sees a read beyond. What
     * it has made of the bytes is left in `given`. */
    int ask(Handler call, const Bytes &request)
    {
        given = Bytes(request.begin(), request.end());
        return call(phone.record(), given.data(), static_cast<int32_t>(given.size()));
    }

    int ask(Handler call, const std::string &request)
    {
        return ask(call, bytes(request));
    }

    CapturedLines lines;
    RecordingHost host;
    HostConnection phone;
    Bytes given;
};

inline Bytes first_bytes(const Bytes &whole, size_t size)
{
    return Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
}

/* "'xxxx'", as bytes() reads it. */
inline std::string characters(size_t count, char which = 'x')
{
    return "'" + std::string(count, which) + "'";
}

/* The line of a failed check, as the system's assertion prints it. */
inline std::string assertion_line(const char *place, const char *expression)
{
    return std::string(program_invocation_short_name) + ": ../source/tv/tv:" + place +
           ": Assertion `" + expression + "' failed.\n";
}
