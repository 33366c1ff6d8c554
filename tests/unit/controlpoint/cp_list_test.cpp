/* SPDX-License-Identifier: MIT */
/* The control point has its own codes and tags: here they are compared with the list. */
#include "controlpoint_calls.h"
#include "protocol/operations.h"
#include "support/project_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace
{

/* The numbers behind "PREFIX_SOMETHING = 0x..." in a header. */
std::set<unsigned> constants(const std::string &header, const std::string &prefix)
{
    const std::string text = project_text("tools/controlpoint/" + header);
    std::set<unsigned> values;
    for (size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix, at + 1)) {
        const size_t equals = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789", at);
        if (text.compare(equals, 5, " = 0x") == 0) {
            values.insert(static_cast<unsigned>(std::stoul(text.substr(equals + 3), nullptr, 16)));
        }
    }
    return values;
}

std::set<std::string> excepted()
{
    std::set<std::string> names;
#define EXCEPTION(name, place, reason)                                                             \
    if (std::strcmp(#place, "CONTROL_POINT") == 0) {                                               \
        names.insert(#name);                                                                       \
    }
#include "protocol/operations.def"
    return names;
}

TEST(ControlPointList, HasTheCodeOfEveryOperationThatARequestReachesAndNoOther)
{
    std::set<unsigned> known = constants("controlpoint.h", "CP_CODE_");
    known.merge(constants("controlpoint_calls.h", "CP_CODE_"));
    std::set<unsigned> listed;
    for (const protocol::Operation &operation : protocol::ALL_OPERATIONS) {
        const bool reached = operation.kind != protocol::KIND_DIRECT;
        if (reached && excepted().count(operation.name) == 0) {
            listed.insert(operation.first_code);
            EXPECT_EQ(known.count(operation.first_code), 1u)
                << operation.name << " needs a code in tools/controlpoint/controlpoint_calls.h";
            /* The codes of a pair have a constant each, those of a longer range one for all. */
            if (operation.last_code == operation.first_code + 1) {
                listed.insert(operation.last_code);
            }
        }
    }
    EXPECT_EQ(known, listed);
}

TEST(ControlPointList, HasTheTagsAndFrameTypesOfTheList)
{
    const std::set<unsigned> tags = {
        CP_TAG_RAW, /* never sent */
#define VALUE_TAG(value, name, form) value,
#include "protocol/operations.def"
    };
    const std::set<unsigned> types = {
#define FRAME_TYPE(value, name, direction, meaning, answer) value,
#include "protocol/operations.def"
    };
    EXPECT_EQ(constants("controlpoint.h", "CP_TAG_"), tags);
    EXPECT_EQ(constants("controlpoint.h", "CP_FRAME_"), types);
}

} // namespace
