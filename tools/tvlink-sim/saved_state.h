/* SPDX-License-Identifier: MIT */
/* The television's state as a text that can be kept and read again: everything that phones can
 * change, also the values of secret settings. */
#ifndef TVLINK_SIM_SAVED_STATE_H
#define TVLINK_SIM_SAVED_STATE_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace sim
{

struct Television;

/* `now` is the player's clock. */
std::string saved_state(const Television &tv, uint32_t now);

/* what() is the reason. */
struct StateError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Gives the television the saved state. Channels are found again by number and name: those that are
 * no longer in its list are passed over, and new ones follow the others. Throws a StateError, and
 * then the television stays as it was. */
void take_saved_state(Television &tv, const std::string &text, uint32_t now);

} // namespace sim

#endif
