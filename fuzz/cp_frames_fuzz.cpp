/* SPDX-License-Identifier: MIT */
/* A stream of bytes from a television, fed to the control point in pieces. The frames must be the
 * same however the stream is divided, and each frame must survive being rebuilt and received again.
 *
 * Input: the number of cuts, the size of each piece, the stream.
 *
 * Under test: tools/controlpoint/cp_splitter.cpp tools/controlpoint/cp_frames.cpp
 * tools/controlpoint/cp_cursor.cpp */
#include "support/fuzz_input.h"

#include "controlpoint.h"

#include <cstring>
#include <string>
#include <utility>

namespace
{

using Bytes = std::vector<uint8_t>;

struct Outcome {
    std::vector<std::pair<uint8_t, Bytes>> frames;
    std::string problem;
    size_t pending;
};

const uint32_t MAX_FRAME = 65536; /* bytes of a frame */

} // namespace

static void take_frames(CpSplitter *splitter, Outcome *outcome)
{
    CpFrame frame = {};
    CpStatus status = cp_splitter_next(splitter, &frame);
    while (status == CP_OK) {
        outcome->frames.emplace_back(
            frame.type, Bytes(frame.payload.data, frame.payload.data + frame.payload.size));
        status = cp_splitter_next(splitter, &frame);
    }
    const bool broken = *cp_splitter_problem(splitter) != 0;
    must(status == (broken ? CP_PROTOCOL : CP_MORE), "a stream is whole or says what broke it");
    must(frame.type == 0 && frame.payload.data == nullptr, "without a frame there are no bytes");
}

static Outcome split(const std::vector<Bytes> &pieces)
{
    Outcome outcome = {};
    CpSplitter *splitter = cp_splitter_new(MAX_FRAME);
    for (const Bytes &piece : pieces) {
        const bool broken = *cp_splitter_problem(splitter) != 0;
        must(cp_splitter_feed(splitter, piece.data(), piece.size()) ==
                 (broken ? CP_PROTOCOL : CP_OK),
             "a stream that is broken takes no more");
        take_frames(splitter, &outcome);
    }
    outcome.problem = cp_splitter_problem(splitter);
    outcome.pending = cp_splitter_pending(splitter);
    cp_splitter_free(splitter);
    return outcome;
}

static void check_rebuilt(const Outcome &outcome)
{
    for (const auto &frame : outcome.frames) {
        CpBuffer built = {};
        must(cp_build_frame(&built, frame.first, frame.second.data(), frame.second.size()) == CP_OK,
             "what was received can be sent");
        const Outcome again = split({Bytes(built.data, built.data + built.size)});
        must(again.frames.size() == 1 && again.frames[0] == frame, "and is received again");
        cp_buffer_free(&built);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input = {data, size};
    FuzzInput sizes = fuzz_part(&input, fuzz_u8(&input));
    const Bytes whole(input.at, input.at + input.left);
    std::vector<Bytes> pieces;
    while (sizes.left > 0) {
        const FuzzInput piece = fuzz_part(&input, fuzz_u8(&sizes));
        pieces.emplace_back(piece.at, piece.at + piece.left);
    }
    pieces.emplace_back(input.at, input.at + input.left);

    const Outcome cut = split(pieces);
    const Outcome uncut = split({whole});
    must(cut.frames == uncut.frames && cut.problem == uncut.problem && cut.pending == uncut.pending,
         "the cuts do not matter");
    check_rebuilt(uncut);
    return 0;
}
