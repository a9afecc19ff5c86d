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

// Allocations are counted to the block.
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

// The service gives the index of the first to the second, too.
TEST_F(ListsTest, EntriesAddedTwiceLeaveNothingBehind)
{
    for (const List &list : {kLists[0], kLists[1], kLists[2]}) {
        SCOPED_TRACE(list.name);
        const std::string none = client().list("*");
        auto cycle_twice = [&] {
            std::string added = make(list.add);
            EXPECT_EQ(make(list.add), added);
            EXPECT_NE(client().list("*"), none) << "one object";
            return added + make(list.remove);
        };
        const std::string replies = cycle_twice();
        EXPECT_EQ(client().list("*"), none);
        for (int i = 0; i < 20; i++)
            cycle_twice();
        const int64_t before = blocks();
        for (int i = 0; i < rounds(); i++)
            ASSERT_EQ(cycle_twice(), replies);
        EXPECT_EQ(blocks(), before);
        EXPECT_EQ(client().list("*"), none);
    }
}

} // namespace
