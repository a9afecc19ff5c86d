// Thousands of entries that come and go.

#include "tests/faults/starved_test.h"

using namespace test_support;

namespace
{

constexpr int kRounds = 100;
constexpr int kLongRounds = 10000;

int rounds()
{
    return getenv("WEXOND_LONG_TESTS") ? kLongRounds : kRounds;
}

struct List {
    const char *name;
    Call add, remove;
};

const List kLists[] = {{"URL rules", kAddUrlRule, kDeleteUrlRule},
                       {"DNS rules", kAddDnsRule, kDeleteDnsRule},
                       {"timers", kAddTimer, kDeleteTimer},
                       {"2.4 GHz access points", kAdd2gAp, kDelete2gAp},
                       {"5 GHz access points", kAdd5gAp, kDelete5gAp},
                       {"classifications", kAddRule, kDeleteRule},
                       {"LAN hosts", kListStations, kListNoStations}};

class ListsTest : public StarvedTest
{
  protected:
    void SetUp() override { start(); }

    std::string cycle(const List &list)
    {
        std::string added = make(list.add);
        return added + make(list.remove);
    }
};

// What is allocated is counted to the block.
TEST_F(ListsTest, EntriesThatComeAndGoLeaveNothingBehind)
{
    for (const List &list : kLists) {
        SCOPED_TRACE(list.name);
        const std::string replies = cycle(list);
        for (int i = 0; i < 20; i++)
            cycle(list);
        const Footprint footprint = footprint_of(daemon());
        const std::string objects = client().list("*");
        const int64_t before = blocks();
        const long memory = anonymous_memory(daemon().pid());
        for (int i = 0; i < rounds(); i++)
            ASSERT_EQ(cycle(list), replies);
        EXPECT_EQ(blocks(), before);
        EXPECT_EQ(footprint_of(daemon()), footprint);
        EXPECT_EQ(client().list("*"), objects);
        EXPECT_LE(anonymous_memory(daemon().pid()), memory + MEMORY_SLACK);
    }
}

} // namespace
