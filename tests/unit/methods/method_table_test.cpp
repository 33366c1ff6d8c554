/* SPDX-License-Identifier: MIT */
#include "methods/method_table.h"

#include "support/asked_television.h"
#include "support/project_text.h"

#include <cstddef>

namespace
{

/* The slots' names by their numbers. */
Lines listed_slots()
{
    Lines names(sizeof(TvMethodTable) / sizeof(void (*)()));
#define OPERATION(family, kind, first, last, slot, name, ...) names.at(slot) = #name;
#define RESERVED(slot) names.at(slot) = "reserved_" #slot;
#include "protocol/operations.def"
    return names;
}

TEST(MethodTableLayout, HasEightySevenSlots)
{
    EXPECT_EQ(sizeof(TvMethodTable), 87 * sizeof(void (*)()));
}

/* The handlers' rows have the numbers of all other slots. */
TEST(MethodTableLayout, HasTheSlotsWithoutARowWhereHostsExpectThem)
{
    EXPECT_EQ(offsetof(TvMethodTable, get_screen_shot2), 4 * sizeof(void (*)()));
    EXPECT_EQ(offsetof(TvMethodTable, get_device_info), 66 * sizeof(void (*)()));
}

/* The compiler checks the order of the public header against the list; here its text. */
TEST(MethodTableLayout, IsTheOrderOfThePublicHeader)
{
    const std::string header = project_text("include/tvlink.h");
    const size_t begin = header.find("typedef struct TvMethodTable {");
    ASSERT_NE(begin, std::string::npos);
    const std::string record = header.substr(begin, header.find("} TvMethodTable;") - begin);
    const Lines declared = names_between(record, "(*", ")(");
    EXPECT_EQ(declared, listed_slots());
}

TEST(MethodTable, IsTheOneThatWasRegisteredLast)
{
    const TvMethodTable first = {};
    const TvMethodTable second = {};
    EXPECT_EQ(registered_methods(), nullptr);
    EXPECT_EQ(register_tv_method(&first), &first);
    EXPECT_EQ(g_tv_method, &first);
    EXPECT_EQ(registered_methods(), &first);
    EXPECT_EQ(register_tv_method(&second), &second);
    EXPECT_EQ(registered_methods(), &second);
    EXPECT_EQ(register_tv_method(nullptr), nullptr);
    EXPECT_EQ(g_tv_method, nullptr);
}

TEST(MethodTable, OffersNoSlotsForABadRequestOrWithoutATable)
{
    RequestReader request = {};
    TvMethodTable table = {};
    table.set_tv_bind = [] { return 0; };
    ASSERT_NE(host_methods(&request), nullptr);
    EXPECT_EQ(host_methods(&request)->set_tv_bind, nullptr);
    register_tv_method(&table);
    EXPECT_EQ(host_methods(&request), &table);
    request.failed = true;
    ASSERT_NE(host_methods(&request), nullptr);
    EXPECT_EQ(host_methods(&request)->set_tv_bind, nullptr);
    register_tv_method(nullptr);
}

TEST(MethodTable, HasTwoEntryPointsThatDoNothing)
{
    EXPECT_EQ(tv_opt(), 0);
    EXPECT_EQ(tv_finish(), 0);
}

} // namespace
