/* SPDX-License-Identifier: MIT */
/* Answers to searches that wait side by side until they are due. For one thread. */
#pragma once

#include "discovery/answer_packet.h"

enum { WAITING_ANSWERS_MAX = 1024 };

struct WaitingAnswer {
    uint64_t due_us;  /* on the monotonic clock */
    uint32_t address; /* the phone's, in network byte order */
    uint8_t packet[ANSWER_SIZE];
};

struct WaitingAnswers {
    uint32_t count;
    WaitingAnswer answers[WAITING_ANSWERS_MAX]; /* `count` of them, in the order of their times */
};

/* True when an answer for this address waits. */
bool waiting_answers_has(const WaitingAnswers *waiting, uint32_t address);

/* True when fewer than `limit` answers wait. */
bool waiting_answers_has_room(const WaitingAnswers *waiting, uint32_t limit);

/* There must be room. Answers with the same time keep the order in which they are added. */
void waiting_answers_add(WaitingAnswers *waiting, const WaitingAnswer *answer);

/* Takes the earliest answer out. False when none is due. */
bool waiting_answers_take_due(WaitingAnswers *waiting, uint64_t now_us, WaitingAnswer *due);
