#include "tests/ubox/ubox.h"

#include <gtest/gtest.h>

namespace
{

struct Rule {
    std::string key;
    vlist_node node;
};

struct Update {
    vlist_node *added;
    vlist_node *removed;
    std::vector<std::string> keys; // what the tree holds meanwhile
    bool operator==(const Update &) const = default;
};

struct RuleList {
    vlist_tree tree;
    std::vector<Update> updates;
};

std::vector<std::string> keys_of(vlist_tree *tree)
{
    std::vector<std::string> keys;
    Rule *rule;
    vlist_for_each_element (tree, rule, node)
        keys.push_back(rule->key);
    return keys;
}

void record(vlist_tree *tree, vlist_node *added, vlist_node *removed)
{
    auto *list = container_of(tree, RuleList, tree);
    list->updates.push_back({added, removed, keys_of(tree)});
}

class Vlist : public testing::Test
{
  protected:
    void SetUp() override { vlist_init(&list.tree, avl_strcmp, record); }
    void add(Rule &rule) { vlist_add(&list.tree, &rule.node, rule.key.c_str()); }

    RuleList list = {};
    Rule a = {"a", {}};
    Rule b = {"b", {}};
    Rule another_a = {"a", {}};
};

TEST_F(Vlist, InitSetsTheVersionAndLeavesTheFlags)
{
    EXPECT_EQ(list.tree.version, 1);
    EXPECT_FALSE(list.tree.keep_old);
    EXPECT_FALSE(list.tree.no_delete);
    EXPECT_EQ(list.tree.avl.count, 0u);
    vlist_tree tree = {.keep_old = true, .no_delete = true, .version = 9};
    vlist_init(&tree, avl_strcmp, record);
    EXPECT_EQ(tree.version, 1);
    EXPECT_EQ(tree.update, record);
    EXPECT_TRUE(tree.keep_old);
    EXPECT_TRUE(tree.no_delete);
}

TEST_F(Vlist, TellsOfWhatIsAdded)
{
    add(b);
    add(a);
    EXPECT_EQ(list.updates, (std::vector<Update>{{&b.node, nullptr, {"b"}}, {&a.node, nullptr, {"a", "b"}}}));
    EXPECT_EQ(a.node.version, 1);
    EXPECT_EQ(a.node.avl.key, a.key.c_str());
}

TEST_F(Vlist, NewNodeTakesThePlaceOfAnEqualKey)
{
    add(a);
    add(another_a);
    EXPECT_EQ(list.updates.back(), (Update{&another_a.node, &a.node, {"a"}}));
    Rule *found = nullptr;
    EXPECT_EQ(vlist_find(&list.tree, "a", found, node), &another_a);
}

TEST_F(Vlist, KeepOldOnlyShowsTheNewNode)
{
    list.tree.keep_old = true;
    add(a);
    list.tree.version = 5;
    add(another_a);
    EXPECT_EQ(list.updates.back(), (Update{&another_a.node, &a.node, {"a"}}));
    Rule *found = nullptr;
    EXPECT_EQ(vlist_find(&list.tree, "a", found, node), &a);
    EXPECT_EQ(a.node.version, 5);
}

TEST_F(Vlist, DeleteTakesOutFirstAndTellsThen)
{
    add(a);
    add(b);
    vlist_delete(&list.tree, &a.node);
    EXPECT_EQ(list.updates.back(), (Update{nullptr, &a.node, {"b"}}));
}

TEST_F(Vlist, NoDeleteLeavesTheNodeToTheCallback)
{
    list.tree.no_delete = true;
    add(a);
    vlist_delete(&list.tree, &a.node);
    EXPECT_EQ(list.updates.back(), (Update{nullptr, &a.node, {"a"}}));
    add(another_a);
    EXPECT_EQ(list.updates.back(), (Update{&another_a.node, &a.node, {"a"}}));
    Rule *found = nullptr;
    EXPECT_EQ(vlist_find(&list.tree, "a", found, node), &a);
}

TEST_F(Vlist, FindsNothingUnderAnUnknownKey)
{
    add(a);
    Rule *found = &a;
    EXPECT_EQ(vlist_find(&list.tree, "b", found, node), nullptr);
    EXPECT_EQ(found, nullptr);
}

TEST_F(Vlist, SafeWalkMayDeleteWhatItStandsOn)
{
    Rule rules[] = {{"1", {}}, {"2", {}}, {"3", {}}};
    for (Rule &rule : rules)
        add(rule);
    Rule *rule;
    Rule *next;
    vlist_for_each_element_safe (&list.tree, rule, node, next) {
        vlist_delete(&list.tree, &rule->node);
        memset(static_cast<void *>(&rule->node), 0xff, sizeof(rule->node));
    }
    EXPECT_EQ(list.tree.avl.count, 0u);
    EXPECT_EQ(list.updates.size(), 6u);
}

TEST_F(Vlist, ComparesAnIndexAsText)
{
    // The low byte of a little-endian index is a text of one character; 256 begins with the end of one.
    const uint32_t one[] = {cpu_to_le32(1), 0};
    const uint32_t two[] = {cpu_to_le32(2), 0};
    vlist_add(&list.tree, &b.node, two);
    vlist_add(&list.tree, &a.node, one);
    Rule *found = nullptr;
    EXPECT_EQ(vlist_find(&list.tree, two, found, node), &b);
    EXPECT_EQ(keys_of(&list.tree), (std::vector<std::string>{"a", "b"}));
}

TEST_F(Vlist, FlushTakesOutWhatIsNotOfTheVersion)
{
    Rule stays = {"c", {}};
    add(a);
    add(b);
    add(stays);
    stays.node.version = -1;
    vlist_update(&list.tree);
    add(another_a);
    list.updates.clear();
    vlist_flush(&list.tree);
    EXPECT_EQ(list.updates, (std::vector<Update>{{nullptr, &b.node, {"a", "c"}}}));
    vlist_flush_all(&list.tree);
    EXPECT_EQ(keys_of(&list.tree), std::vector<std::string>{});
    EXPECT_EQ(list.tree.version, -1);
}

TEST_F(Vlist, MayBeADefinition)
{
    VLIST_TREE(tree, avl_strcmp, record, true, false);
    EXPECT_TRUE(avl_is_empty(&tree.avl));
    EXPECT_TRUE(tree.keep_old);
    EXPECT_FALSE(tree.no_delete);
    EXPECT_EQ(tree.version, 1);
}

TEST_F(Vlist, WalksFromAnElementToEitherEnd)
{
    Rule c = {"c", {}};
    Rule *rule;
    std::string seen;
    for (Rule *each : {&a, &b, &c})
        add(*each);
    vlist_for_each_element_reverse(&list.tree, rule, node) seen += rule->key;
    seen += ' ';
    vlist_for_first_to_element(&list.tree, &b, rule, node) seen += rule->key;
    seen += ' ';
    vlist_for_element_to_last(&list.tree, &b, rule, node) seen += rule->key;
    seen += ' ';
    vlist_for_first_to_element_reverse(&list.tree, &b, rule, node) seen += rule->key;
    seen += ' ';
    vlist_for_element_to_last_reverse(&list.tree, &b, rule, node) seen += rule->key;
    EXPECT_EQ(seen, "cba ab bc ba cb");
}

} // namespace
