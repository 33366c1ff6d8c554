/* SPDX-License-Identifier: MIT */
#include "state_keeping.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "host.h"
#include "narrate.h"
#include "reporter.h"
#include "saved_state.h"
#include "state_file.h"
#include "system.h"

namespace sim
{

namespace
{

constexpr size_t max_file_bytes = size_t{64} << 20;

/* Never destroyed: a write may go on until the process ends. */
Reporter &keeper()
{
    static Reporter &keeper = *new Reporter;
    return keeper;
}

std::string state_to_keep()
{
    return read_state([](const Television &tv) { return saved_state(tv, seconds_now()); });
}

bool set_broken_aside(const std::string &file, const std::string &reason)
{
    const std::string aside = set_aside(file);
    narrate_failure(file + ": " + reason +
                    (aside.empty() ? "; it cannot be renamed" : "; kept aside as " + aside));
    return !aside.empty();
}

} // namespace

bool recall_state(const std::string &file, Television &tv)
{
    if (file.empty() || (access(file.c_str(), F_OK) != 0 && errno == ENOENT)) {
        return true;
    }
    try {
        take_saved_state(tv, read_file(file, max_file_bytes), seconds_now());
        return true;
    } catch (const StateError &error) {
        return set_broken_aside(file, error.what());
    } catch (const FileError &error) {
        narrate_failure(error.what());
        return false;
    }
}

void start_state_keeping(const std::string &file)
{
    if (!file.empty()) {
        start_reporter(keeper(),
                       {state_to_keep,
                        [file](const std::string &state) { return replace_file(file, state); },
                        [file](const std::string &failure) { narrate_keeping(file, failure); }});
    }
}

void note_state_to_keep()
{
    state_changed(keeper());
}

void finish_state_keeping(const std::string &file)
{
    if (file.empty()) {
        return;
    }
    end_reporter(keeper());
    const bool ended = reporter_has_ended(keeper(), std::chrono::seconds(2));
    const std::string failure =
        ended ? replace_file(file, state_to_keep()) : "a write takes too long";
    if (!failure.empty()) {
        narrate_keeping(file, failure);
    }
}

} // namespace sim
