/* SPDX-License-Identifier: MIT */
#include "reload.h"

#include <sys/stat.h>

#include "guide_push.h"
#include "host.h"
#include "narrate.h"

namespace sim
{

namespace
{

FileState state_of(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

bool same(const FileState &one, const FileState &other)
{
    return one.device == other.device && one.number == other.number && one.size == other.size &&
           one.changed.tv_sec == other.changed.tv_sec &&
           one.changed.tv_nsec == other.changed.tv_nsec;
}

void watch_file(std::vector<WatchedFile> &files, const std::string &path)
{
    if (!path.empty()) {
        const FileState state = state_of(path);
        files.push_back({path, state, state});
    }
}

void replace_lists(Lineup lineup)
{
    narrate_lists(lineup.channels.size(), count_programmes(lineup.guide), lineup.remarks);
    const Outcome outcome = [&] {
        const std::lock_guard<std::mutex> guard(television_lock());
        return replace_lineup(television(), std::move(lineup.channels), std::move(lineup.guide));
    }();
    for (const Event &event : outcome.events) {
        report(event);
    }
    push_guide();
}

} // namespace

void reload_lineup(const LineupFiles &files)
{
    try {
        replace_lists(load_lineup(files, time_now() / seconds_a_day));
    } catch (const LineupError &error) {
        narrate_failure(error.what() + std::string("; the old lists stay"));
    }
}

std::vector<WatchedFile> watched_files(const LineupFiles &files)
{
    std::vector<WatchedFile> result;
    watch_file(result, files.channels);
    watch_file(result, files.guide);
    return result;
}

bool files_have_changed(std::vector<WatchedFile> &files)
{
    bool changed = false;
    bool complete = true;
    for (WatchedFile &file : files) {
        const FileState now = state_of(file.path);
        complete = complete && same(now, file.seen) && now.number != 0;
        changed = changed || !same(now, file.loaded);
        file.seen = now;
    }
    if (!changed || !complete) {
        return false;
    }
    for (WatchedFile &file : files) {
        file.loaded = file.seen;
    }
    return true;
}

} // namespace sim
