/* SPDX-License-Identifier: MIT */
/* The handlers as a table: what a phone asks, what the host is called with, what the phone gets. */
#pragma once

#include "support/asked_television.h"
#include "tvlink/handlers.h"

#include <string>
#include <vector>

enum class Reached {
    BY_SET, /* through the dispatchers, in a whole body */
    BY_GET,
    DIRECTLY, /* no method code leads there: the handler itself is called */
};

/* Which results of the slot are a failure: it is answered as if there were no slot. */
enum class Fails { NEVER, BELOW_0, BELOW_1 };

const int ROW_WITHOUT_SLOT = -1;

/* What the slots of most rows answer, beside the result. */
inline HostAnswers plain_answers()
{
    HostAnswers answers;
    answers.text = "hello";
    answers.outs = {3, 6, 0x12345};
    answers.data = bytes("01 02 03 04 05 06");
    return answers;
}

/* What is skipped is EE. In replies, ?? stands for the low 8 bits of the slot's result, ????????
 * for all 32. */
struct HandlerRow {
    const char *name;
    Handler handler;
    Reached reached;
    int slot;
    std::string request;  /* from index 0 on, method code included */
    size_t used;          /* how many bytes of it the handler cannot do without */
    const char *call;     /* what the slot is called with; nothing: no slot is called */
    std::string reply;    /* frame type and payload; nothing: silence */
    const char *refused;  /* the same for a request that ends too early, or when memory is out */
    const char *unserved; /* the same when there is no slot or no table */
    int unserved_result;  /* what the handler then returns */
    Fails fails = Fails::NEVER;
    HostAnswers answers = plain_answers();
};

#define HANDLER(name) #name, name

std::vector<HandlerRow> remote_rows();
std::vector<HandlerRow> state_rows();
std::vector<HandlerRow> list_rows();
std::vector<HandlerRow> player_rows();
std::vector<HandlerRow> video_rows();
std::vector<HandlerRow> setting_rows();
std::vector<HandlerRow> phone_rows();

inline std::vector<HandlerRow> handler_rows()
{
    std::vector<HandlerRow> all;
    for (const auto family :
         {remote_rows, state_rows, list_rows, player_rows, video_rows, setting_rows, phone_rows}) {
        for (HandlerRow &row : family()) {
            all.push_back(std::move(row));
        }
    }
    return all;
}
