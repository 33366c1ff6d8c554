/* SPDX-License-Identifier: MIT */
/* Runs a corpus through its fuzz target, without libFuzzer:  fuzz_replay NAME DIRECTORY...
 *
 * Runs every file, and every prefix of a small one; then all files again in reverse order, in the
 * same process, so that state left over by one input meets different ones. */
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace
{

struct FuzzTarget {
    const char *name;
    int (*run)(const uint8_t *data, size_t size);
};

#include "fuzz_targets.inc"

using Input = std::vector<char>;

const size_t MAX_SHORTENED = 160; /* bytes of a file whose prefixes are run */

const FuzzTarget *find_target(const std::string &name)
{
    const auto found = std::find_if(std::begin(FUZZ_TARGETS), std::end(FUZZ_TARGETS),
                                    [&](const FuzzTarget &target) { return name == target.name; });
    return found == std::end(FUZZ_TARGETS) ? nullptr : found;
}

Input contents(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return Input(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::filesystem::path> files_of(const char *directory)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

/* In a block of exactly this size, so that a sanitizer detects a read beyond the end. */
void run(const FuzzTarget &target, const Input &input, size_t size)
{
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::copy_n(input.begin(), size, block.get());
    target.run(block.get(), size);
}

void run_prefixes(const FuzzTarget &target, const Input &input)
{
    for (size_t size = 0; input.size() <= MAX_SHORTENED && size < input.size(); size++) {
        run(target, input, size);
    }
}

void run_all(const FuzzTarget &target, const std::vector<Input> &inputs)
{
    for (const Input &input : inputs) {
        run_prefixes(target, input);
        run(target, input, input.size());
    }
    std::for_each(inputs.rbegin(), inputs.rend(),
                  [&](const Input &input) { run(target, input, input.size()); });
}

} // namespace

int main(int count, char **words)
{
    const FuzzTarget *target = count < 3 ? nullptr : find_target(words[1]);
    if (target == nullptr) {
        fprintf(stderr, "usage: fuzz_replay NAME DIRECTORY...\n");
        return 2;
    }
    std::vector<Input> inputs;
    for (int i = 2; i < count; i++) {
        for (const auto &path : files_of(words[i])) {
            inputs.push_back(contents(path));
        }
    }
    if (inputs.empty()) {
        fprintf(stderr, "fuzz_replay: no inputs for %s\n", words[1]);
        return 1;
    }
    run_all(*target, inputs);
    return 0;
}
