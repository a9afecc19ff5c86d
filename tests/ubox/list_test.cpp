#include "tests/ubox/ubox.h"

#include <gtest/gtest.h>

namespace
{

struct Entry {
    int value;
    list_head link;
};

std::vector<int> forwards(list_head *head)
{
    std::vector<int> values;
    Entry *entry;
    list_for_each_entry (entry, head, link)
        values.push_back(entry->value);
    return values;
}

std::vector<int> backwards(list_head *head)
{
    std::vector<int> values;
    for (list_head *link = head->prev; link != head; link = link->prev)
        values.push_back(list_entry(link, Entry, link)->value);
    return values;
}

TEST(List, KeepsBothDirections)
{
    LIST_HEAD(head);
    Entry entries[] = {{1, {}}, {2, {}}, {3, {}}, {4, {}}};
    EXPECT_TRUE(list_empty(&head));
    list_add(&entries[1].link, &head);
    list_add(&entries[0].link, &head);
    list_add_tail(&entries[3].link, &head);
    list_add_tail(&entries[2].link, &entries[3].link);
    EXPECT_FALSE(list_empty(&head));
    EXPECT_EQ(forwards(&head), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(backwards(&head), (std::vector<int>{4, 3, 2, 1}));
    EXPECT_EQ(list_first_entry(&head, Entry, link), &entries[0]);
    EXPECT_EQ(list_last_entry(&head, Entry, link), &entries[3]);

    list_del(&entries[1].link);
    EXPECT_EQ(forwards(&head), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(backwards(&head), (std::vector<int>{4, 3, 1}));
}

TEST(List, InitialisedEntryMayBeTakenOutAgain)
{
    list_head head;
    INIT_LIST_HEAD(&head);
    Entry entry = {1, {}};
    list_add(&entry.link, &head);
    list_del_init(&entry.link);
    EXPECT_TRUE(list_empty(&head));
    EXPECT_TRUE(list_empty(&entry.link));
    list_del_init(&entry.link);
    EXPECT_TRUE(list_empty(&head));
}

TEST(List, SafeWalkMayFreeWhatItStandsOn)
{
    LIST_HEAD(head);
    for (int value = 0; value < 5; value++)
        list_add_tail(&(new Entry{value, {}})->link, &head);
    std::vector<int> seen;
    Entry *entry;
    Entry *next;
    list_for_each_entry_safe (entry, next, &head, link) {
        seen.push_back(entry->value);
        list_del(&entry->link);
        delete entry;
    }
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_TRUE(list_empty(&head));
}

TEST(Utils, ByteOrdersAreThoseOfTheirNames)
{
    const uint32_t big = cpu_to_be32(0x01020304);
    const uint32_t little = cpu_to_le32(0x01020304);
    EXPECT_EQ(memcmp(&big, "\1\2\3\4", 4), 0);
    EXPECT_EQ(memcmp(&little, "\4\3\2\1", 4), 0);
    const uint16_t big16 = cpu_to_be16(0x0102);
    const uint16_t little16 = cpu_to_le16(0x0102);
    EXPECT_EQ(memcmp(&big16, "\1\2", 2), 0);
    EXPECT_EQ(memcmp(&little16, "\2\1", 2), 0);
    const uint64_t big64 = cpu_to_be64(0x0102030405060708);
    const uint64_t little64 = cpu_to_le64(0x0102030405060708);
    EXPECT_EQ(memcmp(&big64, "\1\2\3\4\5\6\7\10", 8), 0);
    EXPECT_EQ(memcmp(&little64, "\10\7\6\5\4\3\2\1", 8), 0);
    EXPECT_EQ(be16_to_cpu(big16), le16_to_cpu(little16));
    EXPECT_EQ(be32_to_cpu(big), le32_to_cpu(little));
    EXPECT_EQ(be64_to_cpu(big64), le64_to_cpu(little64));
    const int numbers[] = {1, 2, 3};
    EXPECT_EQ(ARRAY_SIZE(numbers), 3u);
}

struct Letter {
    char name;
    list_head list;
};

std::string letters(list_head *head)
{
    std::string text;
    Letter *letter;
    list_for_each_entry (letter, head, list)
        text += letter->name;
    return text;
}

TEST(List, MovesAndSplices)
{
    Letter a = {'a', {}}, b = {'b', {}}, c = {'c', {}}, d = {'d', {}};
    LIST_HEAD(first);
    LIST_HEAD(second);
    list_add_tail(&a.list, &first);
    list_add_tail(&b.list, &first);
    list_add_tail(&c.list, &second);
    list_add_tail(&d.list, &second);
    EXPECT_TRUE(list_is_first(&a.list, &first));
    EXPECT_TRUE(list_is_last(&b.list, &first));
    list_move(&b.list, &first);
    EXPECT_EQ(letters(&first), "ba");
    list_move_tail(&b.list, &first);
    EXPECT_EQ(letters(&first), "ab");
    list_splice_init(&second, &first);
    EXPECT_EQ(letters(&first), "cdab");
    EXPECT_TRUE(list_empty(&second));
    list_splice_tail_init(&second, &first);
    EXPECT_EQ(letters(&first), "cdab");
    list_splice_tail_init(&first, &second);
    EXPECT_EQ(letters(&second), "cdab");
    EXPECT_TRUE(list_empty(&first));
}

TEST(List, WalksBackAndOn)
{
    Letter a = {'a', {}}, b = {'b', {}}, c = {'c', {}};
    Letter *letter = &a;
    list_head *link, *kept;
    LIST_HEAD(list);
    std::string text;
    for (Letter *each : {&a, &b, &c})
        list_add_tail(&each->list, &list);
    list_for_each_entry_reverse(letter, &list, list) text += letter->name;
    letter = &a;
    list_for_each_entry_continue(letter, &list, list) text += letter->name;
    list_for_each_prev(link, &list) text += list_entry(link, Letter, list)->name;
    list_for_each_safe(link, kept, &list) list_del(link);
    EXPECT_EQ(text, "cbabccba");
    EXPECT_TRUE(list_empty(&list));
    EXPECT_EQ(a.list.next, nullptr);
    list_head *none = nullptr;
    EXPECT_EQ(container_of_safe(none, Letter, list), nullptr);
    EXPECT_EQ(container_of_safe(&b.list, Letter, list), &b);
}

} // namespace
