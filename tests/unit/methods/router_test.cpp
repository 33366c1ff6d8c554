/* SPDX-License-Identifier: MIT */
#include "tvlink/router.h"

#include "tvlink.h"
#include "tvlink/dispatch.h"

#include <gtest/gtest.h>

namespace
{

/* Before main(): the tables as the library is loaded with them. */
struct Initial {
    IppDispatcher get = g_dev_interface[0];
    IppDispatcher set = g_dev_interface[1];
    void *third = reinterpret_cast<void *>(g_dev_interface[2]);
    IppDispatcher rpc = g_ippRpc;
} const initial;

struct Call {
    int entry; /* 0 to 2 of the table, 3 the string calls; -1: none */
    CtrlPoint *cp;
    uint8_t *body;
    int32_t length;
};

Call last;
int calls;

template <int entry> int note(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    last = {entry, cp, body, length};
    calls++;
    return -77; /* nobody looks at it */
}

class Router : public testing::Test
{
protected:
    void SetUp() override
    {
        g_dev_interface[0] = note<0>;
        g_dev_interface[1] = note<1>;
        g_dev_interface[2] = note<2>;
        g_ippRpc = note<3>;
        last = {-1, nullptr, nullptr, 0};
        calls = 0;
    }

    void TearDown() override
    {
        g_dev_interface[0] = initial.get;
        g_dev_interface[1] = initial.set;
        g_dev_interface[2] = reinterpret_cast<IppDispatcher>(initial.third);
        g_ippRpc = initial.rpc;
    }

    CtrlPoint item_ = {};
};

int entry_for(int type)
{
    return type == 0x05 ? 0 : type == 0x07 ? 1 : type == 0x21 ? 3 : -1;
}

TEST_F(Router, IsReadyAsSoonAsTheLibraryIsLoaded)
{
    EXPECT_EQ(initial.get, tv_get);
    EXPECT_EQ(initial.set, tv_set);
    EXPECT_EQ(initial.third, reinterpret_cast<void *>(tv_opt));
    EXPECT_EQ(initial.rpc, tv_ippRpc);
}

TEST_F(Router, ChoosesTheDispatcherByTheFrameType)
{
    for (int type = 0; type < 256; type++) {
        uint8_t body[] = {static_cast<uint8_t>(type), 1, 2, 3};
        last = {-1, nullptr, nullptr, 0};
        calls = 0;
        EXPECT_EQ(response_ctrlpoint_request(&item_, body, sizeof body), 0) << type;
        EXPECT_EQ(last.entry, entry_for(type)) << type;
        EXPECT_EQ(calls, entry_for(type) < 0 ? 0 : 1) << type;
        if (calls > 0) {
            EXPECT_EQ(last.cp, &item_);
            EXPECT_EQ(last.body, body);
            EXPECT_EQ(last.length, 4);
        }
    }
}

TEST_F(Router, DropsFramesWhoseEntryIsNull)
{
    g_dev_interface[0] = nullptr;
    g_dev_interface[1] = nullptr;
    g_ippRpc = nullptr;
    for (int type = 0; type < 256; type++) {
        uint8_t body[] = {static_cast<uint8_t>(type)};
        EXPECT_EQ(response_ctrlpoint_request(&item_, body, 1), 0) << type;
    }
    EXPECT_EQ(calls, 0);
}

TEST_F(Router, RefusesWhatIsNoRequest)
{
    uint8_t body[] = {0x05};
    EXPECT_EQ(response_ctrlpoint_request(nullptr, body, 1), -1);
    EXPECT_EQ(response_ctrlpoint_request(&item_, nullptr, 1), -1);
    EXPECT_EQ(response_ctrlpoint_request(&item_, body, 0), -1);
    EXPECT_EQ(response_ctrlpoint_request(&item_, body, -1), -1);
    EXPECT_EQ(response_ctrlpoint_request(&item_, body, INT32_MIN), -1);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(response_ctrlpoint_request(&item_, body, 1), 0);
    EXPECT_EQ(calls, 1);
}

} // namespace
