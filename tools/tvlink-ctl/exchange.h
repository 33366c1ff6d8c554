/* One question and its answer: what commands share when they talk to the television. Each function
 * throws a Failure unless the answer is there and of the right kind. `asked` names what was asked
 * for, such as "its name". What is returned is borrowed until the session's next exchange. */
#ifndef TVLINK_CTL_EXCHANGE_H
#define TVLINK_CTL_EXCHANGE_H

#include "session.h"

namespace ctl
{

/* The value of a get reply, which has this tag. */
CpValue ask(const Session &session, const Request &request, uint8_t tag, const std::string &asked);

/* The same for a request that has no values. */
CpValue ask_code(const Session &session, uint16_t code, uint8_t tag, const std::string &asked);

/* Sends a set request, gives its result. A failure of the television is not thrown. */
int8_t order(const Session &session, const Request &request, const std::string &asked);

/* Sends a set request and prints its result. */
void carry_out(const Settings &settings, const Request &request, const std::string &asked);

/* Throws the Failure for an answer that does not hold what belongs there. */
[[noreturn]] void answered_wrongly(const Session &session, const std::string &how);

inline constexpr char text_hint[] = "a text has at most 65535 bytes";

} // namespace ctl

#endif
