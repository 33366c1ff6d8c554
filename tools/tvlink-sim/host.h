/* The one television of this program, and what every slot needs to work on it. */
#ifndef TVLINK_SIM_HOST_H
#define TVLINK_SIM_HOST_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "television.h"

namespace sim
{

/* Sets the television up; before the library is started. */
void set_television(const Television &tv);

/* Both live until the process ends: the library's worker may still run a slot while the program
 * exits. */
std::mutex &television_lock();
Television &television();

/* The television's state under its lock, for one look. */
template <typename Look> auto read_state(const Look &at)
{
    const std::lock_guard<std::mutex> guard(television_lock());
    return at(static_cast<const Television &>(television()));
}

/* A slot that changes the state: works under the lock, then prints the call and reports its events
 * with no lock held. The status is the slot's result. */
int run_operation(const char *slot, const nlohmann::json &arguments,
                  const std::function<Outcome(Television &)> &operation);

/* Prints the event, has the new state reported and sends the event to every phone. */
void report(const Event &event);

/* The state that phones are told in JSON, as it is now. */
nlohmann::json present_state();

/* Seconds of a clock that does not go back. */
uint32_t seconds_now();
/* Unix time. */
uint32_t time_now();

/* Copies the text into a buffer that the library has lent, as far as it fits; always terminated and
 * cut only where a character ends. */
void answer(char *buffer, size_t size, const std::string &text);

/* Memory on the C heap, which the library releases. */
char *heap_text(const std::string &text);
void *heap_bytes(const void *bytes, size_t size);
/* A sized block with elements of one byte; null when there are none, which means nothing to send.
 */
void *sized_block(const std::string &bytes);

} // namespace sim

#endif
