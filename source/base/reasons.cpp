/* SPDX-License-Identifier: MIT */
#include "tvlink/observer.h"

static const char *const TEXTS[] = {
    "none",
    "no operation has this code",
    "not the type of a request",
    "not a kind of get request",
    "too short",
    "a text is too long",
    "a wrong value tag",
    "the host has no such slot",
    "the host gave no answer",
    "a bad magic number",
    "a bad frame length",
    "a wrong checksum",
    "the queue is full",
    "no memory",
    "the service has stopped",
    "not admitted",
    "too many",
    "an answer waits already",
    "closed by the peer",
    "broken by the peer or the network",
    "silent for too long",
    "took nothing for too long",
    "left too much waiting",
    "announced too long a frame",
    "removed by the host",
    "nobody came for it",
    "the phone has gone",
    "no thread could be made",
};
static_assert(sizeof TEXTS / sizeof TEXTS[0] == IPP_REASON_COUNT, "a text for each reason");

const char *ipp_reason_text(int reason)
{
    return reason >= 0 && reason < IPP_REASON_COUNT ? TEXTS[reason] : "unknown";
}
