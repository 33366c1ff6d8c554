/* SPDX-License-Identifier: MIT */
/* Requests and their answers, as most commands make them. Each function throws a Failure unless the
 * answer arrives and is of the right kind. `asked` names what was asked for, such as "its name".
 * What is returned is valid until the session's next exchange. */
#ifndef TVLINK_CTL_EXCHANGE_H
#define TVLINK_CTL_EXCHANGE_H

#include "session.h"

namespace ctl
{

/* The reply to a request of this type. */
CpFrame ask_frame(const Session &session, uint8_t type, const Request &request,
                  const std::string &asked);

/* The value of a get reply, which has this tag. */
CpValue ask(const Session &session, const Request &request, uint8_t tag, const std::string &asked);

/* The same for a request that has no values. */
CpValue ask_code(const Session &session, uint16_t code, uint8_t tag, const std::string &asked);

/* Prints the text that answers the request, under this name. */
void show_text(const Settings &settings, const Request &request, const std::string &name,
               const std::string &asked);

/* The same for a text that is JSON. */
void show_json(const Settings &settings, const Request &request, const std::string &name,
               const std::string &asked);

/* Sends a set request and returns its result, which may be -1: the television failed. */
int8_t order(const Session &session, const Request &request, const std::string &asked);

/* Prints the result of a set request; throws the Failure for -1. */
void report_result(const Settings &settings, int8_t result, const std::string &asked);

/* Sends a set request and reports its result. */
void carry_out(const Settings &settings, const Request &request, const std::string &asked);

/* Throws the Failure for a breach of the protocol, such as "sent a heartbeat that is none". */
[[noreturn]] void broke_protocol(const Session &session, const std::string &what);

inline constexpr char text_hint[] = "a text has at most 65535 bytes";

} // namespace ctl

#endif
