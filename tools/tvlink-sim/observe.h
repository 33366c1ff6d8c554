/* SPDX-License-Identifier: MIT */
/* Prints what reaches the service, and what becomes of it: searches, connections, requests,
 * captures and pushes. */
#ifndef TVLINK_SIM_OBSERVE_H
#define TVLINK_SIM_OBSERVE_H

namespace sim
{

/* Before the service starts; `trace` also prints each request when it arrives, and its bytes. */
void observe_service(bool trace);

} // namespace sim

#endif
