/* SPDX-License-Identifier: MIT */
/* The program's only television, and the functions by which slots use it. */
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

/* Sets the initial state, before the library is started. */
void set_television(Television tv);

/* Neither is ever destroyed: the library's worker may still run a slot while the program exits. */
std::mutex &television_lock();
Television &television();

/* Calls `read` with the television under its lock and returns the result. */
template <typename Read> auto read_state(const Read &read)
{
    const std::lock_guard<std::mutex> guard(television_lock());
    return read(static_cast<const Television &>(television()));
}

/* The body of a slot that changes the state: runs the operation under the lock, then prints the
 * call and reports the events with no lock held. Returns the status, which is the slot's result. */
int run_operation(const char *slot, const nlohmann::json &arguments,
                  const std::function<Outcome(Television &)> &operation);

/* Prints the event, requests a report of the new state, and sends the event to every phone. */
void report(const Event &event);

/* The current state as JSON. */
nlohmann::json present_state();

/* Seconds of a monotonic clock. */
uint32_t seconds_now();
/* Unix time. */
uint32_t time_now();

/* Copies the text into a buffer of `size` bytes, which the library owns; truncated at a character
 * boundary if necessary, and always terminated. */
void answer(char *buffer, size_t size, const std::string &text);

/* The body of a slot that answers with JSON in a buffer of 65,535 bytes: prints the call and
 * returns 0, or -1 when the object is null or too long. */
int answer_json(const char *slot, const nlohmann::json &arguments, const std::string &words,
                const nlohmann::json &object, char *buffer);

/* Copies on the C heap, which the library frees; null when memory runs out. */
char *heap_text(const std::string &text);
void *heap_bytes(const void *bytes, size_t size);
/* A sized block of 1-byte elements; null, which stands for an empty list, when there are none. */
void *sized_block(const std::string &bytes);

} // namespace sim

#endif
