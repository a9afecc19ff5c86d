// Entry lists of a daemon into which no family is built: without the types, entries are kept and nothing is published.
#include <vector>

#include "core/entry.h"
#include "tests/core/bus_test.h"

namespace
{

class MissingTypesTest : public CoreBusTest
{
  protected:
    MissingTypesTest() { entry_lists_init(); }
};

TEST_F(MissingTypesTest, KeepsEntriesWithoutPublishingThem)
{
    struct {
        vlist_tree *list;
        uint32_t band_number;
        const char *log;
    } rows[] = {
        {&entry_lists.url_filters, 0, "[filterurl_update.#]: Create filterurl '3'\n\n"},
        {&entry_lists.dns_filters, 0, "[filterdns_update.#]: Create filterdns '3'\n\n"},
        {&entry_lists.lan_hosts, 0, "[laninfo_update.#]: Create laninfo '3'\n\n"},
        {&entry_lists.wifi_timers, 0, "[wifitimer_update.#]: Create wifitimer '3'\n\n"},
        {&entry_lists.wifi_aps[0], 1, "[wifiap_update.#]: Create wifiap '3'\n\n"},
        {&entry_lists.wifi_aps[1], 2, "[wifiap_update.#]: Create wifiap '3'\n\n"},
    };
    enable_log();
    for (const auto &row : rows) {
        Entry *entry = entry_add(row.list, 3, row.band_number);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(take_log(), row.log);
        EXPECT_EQ(entry->object.name, nullptr);
        EXPECT_EQ(entry->object.id, 0u);
        EXPECT_EQ(entry_find(row.list, 3), entry);
        EXPECT_EQ(objects("*"), "");
        entry = entry_add(row.list, 3, row.band_number);
        EXPECT_EQ(entry_find(row.list, 3), entry);
        entry_remove(row.list, entry);
        EXPECT_EQ(entry_find(row.list, 3), nullptr);
        take_log();
    }
}

} // namespace
