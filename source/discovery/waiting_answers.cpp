/* SPDX-License-Identifier: MIT */
#include "discovery/waiting_answers.h"

#include <string.h>

bool waiting_answers_has(const WaitingAnswers *waiting, uint32_t address)
{
    for (uint32_t i = 0; i < waiting->count; i++) {
        if (waiting->answers[i].address == address) {
            return true;
        }
    }
    return false;
}

bool waiting_answers_has_room(const WaitingAnswers *waiting, uint32_t limit)
{
    return waiting->count < limit && waiting->count < WAITING_ANSWERS_MAX;
}

void waiting_answers_add(WaitingAnswers *waiting, const WaitingAnswer *answer)
{
    uint32_t place = waiting->count;
    while (place > 0 && waiting->answers[place - 1].due_us > answer->due_us) {
        waiting->answers[place] = waiting->answers[place - 1];
        place--;
    }
    waiting->answers[place] = *answer;
    waiting->count++;
}

bool waiting_answers_take_due(WaitingAnswers *waiting, uint64_t now_us, WaitingAnswer *due)
{
    if (waiting->count == 0 || waiting->answers[0].due_us > now_us) {
        return false;
    }
    *due = waiting->answers[0];
    waiting->count--;
    memmove(waiting->answers, waiting->answers + 1, waiting->count * sizeof *waiting->answers);
    return true;
}
