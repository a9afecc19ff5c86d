// Entry lists on a real bus: which objects come and go, and which do not.
#include "core/entry.h"

#include <functional>
#include <memory>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/shared_records.h"
#include "tests/core/bus_test.h"
#include "tests/core/catalogue.h"
#include "tests/core/faults.h"

using namespace std::string_literals;

namespace
{

using Indices = std::vector<uint32_t>;

vlist_tree *const kUrls = &entry_lists.url_filters;

// The five lists with objects: their words in log lines and names, and what the bus shows of an entry of index 3.
struct ListCase {
    const char *name;
    vlist_tree *list;
    uint32_t band_number;
    const char *function;
    const char *word;
    const char *registration;
    const char *object;
    const char *methods;
};

std::ostream &operator<<(std::ostream &stream, const ListCase &row)
{
    return stream << row.object;
}

const ListCase kLists[] = {
    {"UrlFilters", &entry_lists.url_filters, 0, "filterurl_update", "filterurl", "filterurl_register_ubus",
     "wexond.filter.url.3", "  set url:string\n  get\n"},
    {"DnsFilters", &entry_lists.dns_filters, 0, "filterdns_update", "filterdns", "filterdns_register_ubus",
     "wexond.filter.dns.3", "  set dns:string\n  get\n"},
    {"LanHosts", &entry_lists.lan_hosts, 0, "laninfo_update", "laninfo", "laninfo_register_ubus", "wexond.laninfo.3",
     "  list\n  getnum\n  set host:string\n  get\n"},
    {"WifiTimers", &entry_lists.wifi_timers, 0, "wifitimer_update", "wifitimer", "wifitimer_register_ubus",
     "wexond.wifi.timer.3", "  set timer:string\n  get\n"},
    {"AccessPoints24G", &entry_lists.wifi_aps[0], 1, "wifiap_update", "wifiap", "wifiap_register_ubus",
     "wexond.wifi.1.ap.3", "  set 2.4G:string\n  get\n  stats\n"},
    {"AccessPoints5G", &entry_lists.wifi_aps[1], 2, "wifiap_update", "wifiap", "wifiap_register_ubus",
     "wexond.wifi.2.ap.3", "  set 5G:string\n  get\n  stats\n"},
};

std::vector<vlist_tree *> all_lists()
{
    std::vector<vlist_tree *> lists = {&entry_lists.classifications};
    for (const ListCase &row : kLists)
        lists.push_back(row.list);
    return lists;
}

Indices indices(vlist_tree *list)
{
    Indices indices;
    Entry *entry;
    vlist_for_each_element (list, entry, node)
        indices.push_back(entry->index);
    return indices;
}

void add(vlist_tree *list, const Indices &indices)
{
    for (uint32_t index : indices)
        EXPECT_NE(entry_add(list, index), nullptr);
}

void remove_all(vlist_tree *list)
{
    Entry *entry, *next;
    vlist_for_each_element_safe (list, entry, node, next)
        entry_remove(list, entry);
}

std::string url_object(const std::string &index)
{
    return "wexond.filter.url." + index + "\n  set url:string\n  get\n";
}

class EntryTest : public CoreBusTest
{
  protected:
    EntryTest()
    {
        use_test_families();
        entry_lists_init();
    }
    ~EntryTest() override
    {
        for (vlist_tree *list : all_lists())
            remove_all(list);
    }
};

class EntryListTest : public EntryTest, public testing::WithParamInterface<ListCase>
{
  protected:
    const ListCase &row = GetParam();

    Entry *add_entry() { return entry_add(row.list, 3, row.band_number); }
    std::string object() const { return row.object + "\n"s + row.methods; }
    std::string log_line(const std::string &event) const
    {
        return "["s + row.function + ".#]: " + event + " " + row.word + " '3'\n\n";
    }
};

INSTANTIATE_TEST_SUITE_P(Lists, EntryListTest, testing::ValuesIn(kLists),
                         [](const auto &info) { return info.param.name; });

// --- One entry ---

TEST_P(EntryListTest, PublishesAnAddedEntry)
{
    NEEDS_BUS_TOOL();
    enable_log();
    Entry *entry = add_entry();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(take_log(), log_line("Create"));
    EXPECT_EQ(objects(), object());
    EXPECT_EQ(indices(row.list), Indices{3});
    EXPECT_STREQ(entry->object.name, row.object);
    EXPECT_EQ(entry->index, 3u);
    EXPECT_EQ(entry->band_number, row.band_number);
    EXPECT_EQ(call(row.object, "get"), "{\"called\":\""s + row.object + "\"}\n");
}

TEST_P(EntryListTest, WithdrawsARemovedEntry)
{
    Entry *entry = add_entry();
    enable_log();
    entry_remove(row.list, entry);
    EXPECT_EQ(take_log(), log_line("Remove"));
    EXPECT_EQ(objects(), "");
    EXPECT_EQ(indices(row.list), Indices{});
}

TEST_P(EntryListTest, PublishesAnEntryThatComesBack)
{
    for (int i = 0; i < 3; i++) {
        Entry *entry = add_entry();
        EXPECT_EQ(objects(), object());
        entry_remove(row.list, entry);
        EXPECT_EQ(objects(), "");
    }
}

TEST_P(EntryListTest, KeepsTheObjectOfAnEntryAddedTwice)
{
    NEEDS_BUS_TOOL();
    Entry *first = add_entry();
    uint32_t id = first->object.id;
    enable_log();
    Entry *second = add_entry();
    EXPECT_EQ(take_log(), log_line("Update"));
    EXPECT_EQ(objects(), object());
    EXPECT_EQ(indices(row.list), Indices{3});
    EXPECT_EQ(entry_find(row.list, 3), second);
    EXPECT_EQ(second->object.name, nullptr);
    EXPECT_EQ(second->object.id, 0u);
    // The object is the first one's, and it acts on the index.
    uint32_t found;
    EXPECT_EQ(ubus_lookup_id(wexond_context, row.object, &found), 0);
    EXPECT_EQ(found, id);
    EXPECT_EQ(call(row.object, "get"), "{\"called\":\""s + row.object + "\"}\n");
    const Entry *acting = entry_find_named(row.list, row.object);
    ASSERT_NE(acting, nullptr);
    EXPECT_EQ(acting->index, 3u);
    EXPECT_EQ(entry_owning(row.list, &first->object), second);
}

TEST_P(EntryListTest, WithdrawsTheObjectOfAnEntryAddedAgain)
{
    for (int adds = 2; adds <= 4; adds++) {
        Entry *last = nullptr;
        for (int i = 0; i < adds; i++)
            last = add_entry();
        ASSERT_NE(entry_find_named(row.list, row.object), nullptr);
        enable_log();
        take_log();
        entry_remove(row.list, last);
        EXPECT_EQ(take_log(), log_line("Remove"));
        EXPECT_EQ(indices(row.list), Indices{});
        EXPECT_EQ(objects(), "");
        EXPECT_EQ(entry_find_named(row.list, row.object), nullptr);
        // The name is free for a later entry of the index.
        Entry *later = add_entry();
        EXPECT_NE(later->object.id, 0u);
        EXPECT_EQ(objects(), object());
        entry_remove(row.list, later);
    }
}

// Another client that has an object of this path.
class Rival
{
  public:
    Rival(const std::string &socket, const char *path) : context_(ubus_connect(socket.c_str()))
    {
        object_.name = path;
        object_.type = &type_;
        EXPECT_EQ(ubus_add_object(context_, &object_), 0);
    }
    ~Rival() { ubus_free(context_); }

  private:
    ubus_context *context_;
    ubus_object_type type_ = {.name = "rival"};
    ubus_object object_{};
};

TEST_P(EntryListTest, KeepsAnEntryWhoseNameIsTaken)
{
    Rival rival(bus().socket(), row.object);
    Entry *entry = add_entry();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->object.id, 0u);
    EXPECT_EQ(indices(row.list), Indices{3});
    EXPECT_EQ(objects(), row.object + "\n"s) << "the rival's, without methods";
    Entry *second = add_entry();
    EXPECT_EQ(indices(row.list), Indices{3});
    entry_remove(row.list, second);
    EXPECT_EQ(objects(), row.object + "\n"s);
}

TEST_P(EntryListTest, KeepsAnEntryWhoseNameCannotBeMade)
{
    enable_log();
    Entry *entry;
    {
        FailingMemory memory(1); // the entry itself
        entry = add_entry();
    }
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(take_log(), log_line("Create") + "[" + row.registration + ".#]: " + row.registration + " oom\n\n");
    EXPECT_EQ(indices(row.list), Indices{3});
    EXPECT_EQ(entry->object.name, nullptr);
    EXPECT_EQ(objects(), "");
    entry_remove(row.list, entry);
    EXPECT_EQ(indices(row.list), Indices{});
}

TEST_P(EntryListTest, AddsNothingWithoutMemory)
{
    enable_log();
    {
        FailingMemory memory(0);
        EXPECT_EQ(add_entry(), nullptr);
    }
    EXPECT_EQ(take_log(), "");
    EXPECT_EQ(indices(row.list), Indices{});
    EXPECT_EQ(objects(), "");
}

TEST_P(EntryListTest, SurvivesMemoryThatEndsAnywhere)
{
    for (int calls = 0;; calls++) {
        bool has_failed;
        Entry *entry;
        {
            FailingMemory memory(calls);
            entry = add_entry();
            has_failed = memory.has_failed();
        }
        EXPECT_EQ(indices(row.list), entry ? Indices{3} : Indices{});
        EXPECT_EQ(objects() == object(), entry && entry->object.id != 0) << calls;
        if (entry)
            entry_remove(row.list, entry);
        EXPECT_EQ(objects(), "") << calls;
        if (!has_failed)
            break;
        ASSERT_LT(calls, 1000);
    }
}

// --- Names and keys ---

TEST_F(EntryTest, PrintsIndicesSignedInNamesAndUnsignedInTheLog)
{
    enable_log();
    add(kUrls, {0x7FFFFFFF, 0xFFFFFFFF, 0x80000001});
    EXPECT_EQ(take_log(), "[filterurl_update.#]: Create filterurl '2147483647'\n\n"
                          "[filterurl_update.#]: Create filterurl '4294967295'\n\n"
                          "[filterurl_update.#]: Create filterurl '2147483649'\n\n");
    EXPECT_EQ(objects(), url_object("-1") + url_object("-2147483647") + url_object("2147483647"));
}

// The bytes of an index, lowest first, are compared as a text.
TEST_F(EntryTest, OrdersByTheKeysText)
{
    add(kUrls, {3, 1, 255, 2, 0, 128, 127, 257, 0x01020304, 0x010204, 4, 0x0204, 0x02020304});
    EXPECT_EQ(indices(kUrls), (Indices{0, 1, 257, 2, 3, 4, 0x0204, 0x010204, 0x01020304, 0x02020304, 127, 128, 255}));
}

TEST_F(EntryTest, KeepsIndicesOfFourBytesApart)
{
    const Indices added = {0x01010101, 0x02010101, 0xFF010101, 0x01010201, 0xFFFFFFFF, 0xFEFFFFFF, 0x00010101};
    add(kUrls, added);
    EXPECT_EQ(indices(kUrls).size(), added.size());
    for (uint32_t index : added) {
        Entry *entry = entry_find(kUrls, index);
        ASSERT_NE(entry, nullptr) << index;
        EXPECT_EQ(entry->index, index);
        EXPECT_EQ(strlen(static_cast<const char *>(entry->node.avl.key)), index > 0xFFFFFF ? 4u : 3u);
        EXPECT_NE(entry->object.id, 0u);
        // The tree finds it as well as the walk does.
        EXPECT_EQ(avl_find(&kUrls->avl, &entry->index), &entry->node.avl);
    }
}

// Their lowest byte is 0, so all of them have the empty key.
TEST_F(EntryTest, TakesMultiplesOf256ForOneEntry)
{
    enable_log();
    add(kUrls, {0, 256, 512, 768, 0x80000000});
    EXPECT_EQ(take_log(), "[filterurl_update.#]: Create filterurl '0'\n\n"
                          "[filterurl_update.#]: Update filterurl '0'\n\n"
                          "[filterurl_update.#]: Update filterurl '256'\n\n"
                          "[filterurl_update.#]: Update filterurl '512'\n\n"
                          "[filterurl_update.#]: Update filterurl '768'\n\n");
    EXPECT_EQ(indices(kUrls), Indices{0x80000000});
    EXPECT_EQ(objects(), url_object("0"));
    EXPECT_EQ(entry_find(kUrls, 0), nullptr);
    EXPECT_EQ(entry_find(kUrls, 512), nullptr);
    ASSERT_NE(entry_find(kUrls, 0x80000000), nullptr);
    enable_log();
    entry_remove(kUrls, entry_find(kUrls, 0x80000000));
    EXPECT_EQ(take_log(), "[filterurl_update.#]: Remove filterurl '2147483648'\n\n");
    EXPECT_EQ(objects(), "");
}

// The one object acts on the index of its name, whichever of them the list holds.
TEST_F(EntryTest, TheObjectOfIndicesOfOneKeyActsOnTheFirst)
{
    add(kUrls, {256, 512, 768});
    EXPECT_EQ(objects(), url_object("256"));
    const Entry *acting = entry_find_named(kUrls, "wexond.filter.url.256");
    ASSERT_NE(acting, nullptr);
    EXPECT_EQ(acting->index, 256u);
    EXPECT_EQ(entry_owning(kUrls, &acting->object), entry_find(kUrls, 768));
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.512"), nullptr);
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.768"), nullptr);
}

TEST_F(EntryTest, KnowsWhichKeysAreTaken)
{
    add(kUrls, {1, 3, 512});
    for (uint32_t taken : {1u, 3u, 512u, 256u, 0u, 0x10003u})
        EXPECT_TRUE(entry_key_is_taken(kUrls, taken)) << taken;
    for (uint32_t open : {2u, 4u, 257u, 0x103u})
        EXPECT_FALSE(entry_key_is_taken(kUrls, open)) << open;
}

// --- Access points ---

TEST_F(EntryTest, KeepsTheBandsApart)
{
    entry_add(&entry_lists.wifi_aps[0], 1, 1);
    entry_add(&entry_lists.wifi_aps[1], 1, 2);
    EXPECT_EQ(objects(), "wexond.wifi.1.ap.1\n  set 2.4G:string\n  get\n  stats\n"
                         "wexond.wifi.2.ap.1\n  set 5G:string\n  get\n  stats\n");
    entry_remove(&entry_lists.wifi_aps[0], entry_find(&entry_lists.wifi_aps[0], 1));
    EXPECT_EQ(objects(), "wexond.wifi.2.ap.1\n  set 5G:string\n  get\n  stats\n");
    EXPECT_EQ(indices(&entry_lists.wifi_aps[0]), Indices{});
    EXPECT_EQ(indices(&entry_lists.wifi_aps[1]), Indices{1});
}

TEST_F(EntryTest, PublishesNothingOnAnUnknownBand)
{
    enable_log();
    uint32_t index = 1;
    for (uint32_t band_number : {0u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
        Entry *entry = entry_add(&entry_lists.wifi_aps[0], index, band_number);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->object.name, nullptr);
        EXPECT_EQ(entry->object.id, 0u);
        EXPECT_EQ(take_log(), "[wifiap_update.#]: Create wifiap '" + std::to_string(index) + "'\n\n");
        index++;
    }
    EXPECT_EQ(objects(), "");
    EXPECT_EQ(indices(&entry_lists.wifi_aps[0]), (Indices{1, 2, 3, 4}));
    entry_remove(&entry_lists.wifi_aps[0], entry_find(&entry_lists.wifi_aps[0], 1));
    EXPECT_EQ(indices(&entry_lists.wifi_aps[0]), (Indices{2, 3, 4}));
}

// --- Classification rules ---

TEST_F(EntryTest, ClassificationsHaveNoObjects)
{
    vlist_tree *list = &entry_lists.classifications;
    enable_log();
    add(list, {2, 1, 3, 2});
    EXPECT_EQ(indices(list), (Indices{1, 2, 3}));
    entry_remove(list, entry_find(list, 1));
    EXPECT_EQ(indices(list), (Indices{2, 3}));
    EXPECT_EQ(entry_find(list, 2)->object.name, nullptr);
    EXPECT_EQ(entry_find_named(list, ""), nullptr);
    EXPECT_EQ(objects("*"), "");
    EXPECT_EQ(take_log(), "");
}

// --- Finding ---

TEST_F(EntryTest, FindsByIndex)
{
    EXPECT_EQ(entry_find(kUrls, 1), nullptr);
    add(kUrls, {1, 2, 0x01020304});
    EXPECT_EQ(entry_find(kUrls, 1)->index, 1u);
    EXPECT_EQ(entry_find(kUrls, 0x01020304)->index, 0x01020304u);
    EXPECT_EQ(entry_find(kUrls, 3), nullptr);
    EXPECT_EQ(entry_find(kUrls, 0x04030201), nullptr);
    EXPECT_EQ(entry_find(&entry_lists.dns_filters, 1), nullptr);
}

TEST_F(EntryTest, FindsByObjectName)
{
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.1"), nullptr);
    add(kUrls, {1, 2, 12});
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.1"), entry_find(kUrls, 1));
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.12"), entry_find(kUrls, 12));
    for (const char *name : {"", "wexond.filter.url", "wexond.filter.url.", "wexond.filter.url.3",
                             "wexond.filter.url.01", "wexond.filter.dns.1", "wexond.filter.url.1 "})
        EXPECT_EQ(entry_find_named(kUrls, name), nullptr) << name;
    entry_remove(kUrls, entry_find(kUrls, 1));
    EXPECT_EQ(entry_find_named(kUrls, "wexond.filter.url.1"), nullptr);
}

TEST_F(EntryTest, FindingByNamePassesOverEntriesWithoutObject)
{
    entry_add(&entry_lists.wifi_aps[0], 1, 7); // of no band
    entry_add(&entry_lists.wifi_aps[0], 1, 7);
    entry_add(&entry_lists.wifi_aps[0], 2, 1);
    EXPECT_EQ(indices(&entry_lists.wifi_aps[0]), (Indices{1, 2}));
    EXPECT_EQ(entry_find_named(&entry_lists.wifi_aps[0], "wexond.wifi.1.ap.2"),
              entry_find(&entry_lists.wifi_aps[0], 2));
    EXPECT_EQ(entry_find_named(&entry_lists.wifi_aps[0], "wexond.wifi.1.ap.1"), nullptr);
}

// --- Bringing into line ---

struct ListAnswer {
    struct Row {
        le32 index;
        char rest[8];
    };
    le32 count;
    Row entries[8];
};

ListAnswer answer_of(const Indices &indices)
{
    ListAnswer answer{};
    // Words behind the counted rows, and beside the indices, are nobody's.
    memset(&answer, 0xEE, sizeof(answer));
    answer.count = static_cast<uint32_t>(indices.size());
    for (size_t i = 0; i < indices.size(); i++)
        answer.entries[i].index = indices[i];
    return answer;
}

struct Change {
    Indices before;
    Indices answer;
    const char *log;
};

TEST_F(EntryTest, BringsAListIntoLineWithAnAnswer)
{
    const Change changes[] = {
        {{1, 2, 3}, {1, 2, 3}, ""},
        {{1, 2, 3}, {3, 2, 1}, ""},
        {{1, 2, 3}, {1, 3}, "Remove 2 "},
        {{1, 2, 3}, {1, 2, 3, 4}, "Create 4 "},
        {{1, 2, 3}, {9, 2, 7}, "Remove 1 Remove 3 Create 9 Create 7 "},
        {{3, 2, 1}, {}, "Remove 1 Remove 2 Remove 3 "},
        {{}, {5, 4}, "Create 5 Create 4 "},
        {{}, {}, ""},
        {{1}, {5, 5, 1, 5, 1}, "Create 5 "},
        {{1}, {2, 2, 2}, "Remove 1 Create 2 "},
        {{0x01020304}, {0x04030201}, "Remove 16909060 Create 67305985 "},
        {{}, {8, 7, 6, 5, 4, 3, 2, 1}, "Create 8 Create 7 Create 6 Create 5 Create 4 Create 3 Create 2 Create 1 "},
    };
    enable_log();
    for (const Change &change : changes) {
        add(kUrls, change.before);
        take_log();
        entry_reconcile(kUrls, answer_of(change.answer));

        std::string expected_log;
        std::istringstream words(change.log);
        for (std::string event, index; words >> event >> index;)
            expected_log += "[filterurl_update.#]: " + event + " filterurl '" + index + "'\n\n";
        EXPECT_EQ(take_log(), expected_log);

        std::set<uint32_t> left(change.answer.begin(), change.answer.end());
        EXPECT_EQ(indices(kUrls), Indices(left.begin(), left.end()));
        std::set<std::string> published;
        for (uint32_t index : left)
            published.insert(url_object(std::to_string(index)));
        EXPECT_EQ(objects(), std::accumulate(published.begin(), published.end(), ""s));
        remove_all(kUrls);
    }
}

TEST_F(EntryTest, ReadsNoMoreRowsThanAnAnswerHolds)
{
    for (uint32_t count : {9u, 0x80000000u, 0xFFFFFFFFu}) {
        ListAnswer answer = answer_of({1, 2, 3, 4, 5, 6, 7, 8});
        answer.count = count;
        entry_reconcile(kUrls, answer);
        EXPECT_EQ(indices(kUrls), (Indices{1, 2, 3, 4, 5, 6, 7, 8}));
    }
}

TEST_F(EntryTest, ReadsTheServicesOwnLists)
{
    auto timers = std::make_unique<WifiTimerList>();
    timers->count = 32;
    auto urls = std::make_unique<UrlFilterList>();
    urls->count = 33;
    auto rules = std::make_unique<DnsFilterList>();
    rules->count = 31;
    Indices numbers;
    for (uint32_t i = 0; i < 32; i++) {
        timers->entries[i].index = 101 + i;
        urls->entries[i].index = 101 + i;
        rules->entries[i].index = 101 + i;
        numbers.push_back(101 + i);
    }
    entry_reconcile(&entry_lists.wifi_timers, *timers);
    entry_reconcile(&entry_lists.url_filters, *urls);
    entry_reconcile(&entry_lists.dns_filters, *rules);
    EXPECT_EQ(indices(&entry_lists.wifi_timers), numbers);
    EXPECT_EQ(indices(&entry_lists.url_filters), numbers);
    numbers.pop_back();
    EXPECT_EQ(indices(&entry_lists.dns_filters), numbers);
}

TEST_F(EntryTest, BringsClassificationsIntoLineToo)
{
    vlist_tree *list = &entry_lists.classifications;
    add(list, {1, 2});
    entry_reconcile(list, answer_of({2, 3}));
    EXPECT_EQ(indices(list), (Indices{2, 3}));
    EXPECT_EQ(objects("*"), "");
}

// An answer with indices of one key can never be in line; each pass ends all the same.
TEST_F(EntryTest, TakesTurnsBetweenIndicesOfOneKey)
{
    for (int i = 0; i < 3; i++) {
        entry_reconcile(kUrls, answer_of({256, 512}));
        EXPECT_EQ(indices(kUrls), Indices{512});
        EXPECT_EQ(objects(), url_object("256"));
    }
    entry_reconcile(kUrls, answer_of({}));
    EXPECT_EQ(indices(kUrls), Indices{});
    EXPECT_EQ(objects(), "");
}

TEST_F(EntryTest, AListWithdrawsWhatWasAddedTwice)
{
    add(kUrls, {1, 3, 3, 3});
    entry_reconcile(kUrls, answer_of({1, 3}));
    EXPECT_EQ(objects(), url_object("1") + url_object("3"));
    entry_reconcile(kUrls, answer_of({1}));
    EXPECT_EQ(objects(), url_object("1"));
    entry_reconcile(kUrls, answer_of({1, 3}));
    EXPECT_EQ(objects(), url_object("1") + url_object("3"));
    EXPECT_NE(entry_find_named(kUrls, "wexond.filter.url.3"), nullptr);
}

// --- The bus goes away ---

TEST_F(EntryTest, RemovesEntriesAlsoWithoutABroker)
{
    add(kUrls, {1, 2});
    bus().kill();
    entry_remove(kUrls, entry_find(kUrls, 1));
    entry_add(kUrls, 3);
    EXPECT_EQ(indices(kUrls), (Indices{2, 3}));
    entry_reconcile(kUrls, answer_of({4}));
    EXPECT_EQ(indices(kUrls), Indices{4});
}

// --- Memory over time ---

class EntryMemoryTest : public EntryTest
{
  protected:
    // Growth of a byte in each of the rounds would show.
    void expect_no_growth(int rounds, const std::function<void()> &round)
    {
        for (int i = 0; i < 10; i++)
            round();
        size_t before = heap_in_use();
        for (int i = 0; i < rounds; i++)
            round();
        EXPECT_LT(heap_in_use(), before + static_cast<size_t>(rounds));
    }
};

TEST_F(EntryMemoryTest, DoesNotGrowByAddingAndRemoving)
{
    expect_no_growth(3000, [] { entry_remove(kUrls, entry_add(kUrls, 7)); });
    EXPECT_EQ(objects(), "");
}

TEST_F(EntryMemoryTest, DoesNotGrowByReconciling)
{
    expect_no_growth(500, [] {
        entry_reconcile(kUrls, answer_of({1, 2, 3, 4}));
        entry_reconcile(kUrls, answer_of({4, 5, 256}));
        entry_reconcile(kUrls, answer_of({}));
    });
}

TEST_F(EntryMemoryTest, DoesNotGrowBySecondAdds)
{
    expect_no_growth(5000, [] { entry_add(kUrls, 7); });
    EXPECT_EQ(objects(), url_object("7"));
}

TEST_F(EntryMemoryTest, DoesNotGrowByRemovingWhatWasAddedAgain)
{
    expect_no_growth(2000, [] {
        entry_add(kUrls, 7);
        entry_add(kUrls, 7);
        entry_remove(kUrls, entry_add(kUrls, 7));
    });
    EXPECT_EQ(objects(), "");
}

TEST_F(EntryMemoryTest, DoesNotGrowByAddsOfATakenName)
{
    Rival rival(bus().socket(), "wexond.filter.url.7");
    expect_no_growth(2000, [] {
        entry_add(kUrls, 7);
        entry_remove(kUrls, entry_add(kUrls, 7));
    });
    EXPECT_EQ(objects(), "wexond.filter.url.7\n");
}

TEST_F(EntryMemoryTest, DoesNotGrowByIndicesOfOneKey)
{
    expect_no_growth(500, [] { entry_reconcile(kUrls, answer_of({256, 512, 768})); });
    EXPECT_EQ(objects(), url_object("256"));
}

TEST_F(EntryMemoryTest, DoesNotGrowByClassifications)
{
    vlist_tree *list = &entry_lists.classifications;
    expect_no_growth(5000, [list] {
        entry_add(list, 7);
        entry_add(list, 7);
        entry_remove(list, entry_add(list, 8));
    });
    EXPECT_EQ(indices(list), Indices{7});
}

} // namespace
