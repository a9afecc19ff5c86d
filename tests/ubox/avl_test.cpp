#include "tests/ubox/ubox.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace
{

struct Element {
    int number; // a member before the node, so that offsets matter
    avl_node node;
};

int compare_ints(const void *left, const void *right, void *)
{
    int a = *static_cast<const int *>(left);
    int b = *static_cast<const int *>(right);
    return (a > b) - (a < b);
}

// Walks the tree itself, not its list: the depth, with balances, parents and the bound of every key checked.
int checked_depth(const avl_node *node, const avl_node *parent, std::vector<int> &keys)
{
    if (!node)
        return 0;
    EXPECT_EQ(node->parent, parent);
    int smaller = checked_depth(node->left, node, keys);
    keys.push_back(*static_cast<const int *>(node->key));
    int larger = checked_depth(node->right, node, keys);
    EXPECT_EQ(node->balance, larger - smaller);
    EXPECT_LE(std::abs(larger - smaller), 1);
    return 1 + std::max(smaller, larger);
}

std::vector<int> listed(avl_tree *tree)
{
    std::vector<int> numbers;
    Element *element;
    avl_for_each_element (tree, element, node)
        numbers.push_back(element->number);
    return numbers;
}

void expect_holds(avl_tree *tree, const std::vector<int> &expected)
{
    std::vector<int> keys;
    checked_depth(tree->root, nullptr, keys);
    ASSERT_EQ(keys, expected);
    ASSERT_EQ(listed(tree), expected);
    ASSERT_EQ(tree->count, expected.size());
}

class Tree
{
  public:
    explicit Tree(bool allow_dups = false) { avl_init(&tree_, compare_ints, allow_dups, nullptr); }
    ~Tree()
    {
        Element *element;
        Element *next;
        avl_for_each_element_safe (&tree_, element, node, next) {
            avl_delete(&tree_, &element->node);
            delete element;
        }
        EXPECT_TRUE(avl_is_empty(&tree_));
        EXPECT_EQ(tree_.root, nullptr);
    }
    Tree(const Tree &) = delete;
    avl_tree *operator&() { return &tree_; }

    Element *add(int number)
    {
        auto *element = new Element{number, {}};
        element->node.key = &element->number;
        if (avl_insert(&tree_, &element->node) != 0) {
            delete element;
            return nullptr;
        }
        return element;
    }
    void remove(Element *element)
    {
        avl_delete(&tree_, &element->node);
        delete element;
    }

  private:
    avl_tree tree_;
};

TEST(Avl, RefusesAnEqualKey)
{
    Tree tree;
    EXPECT_NE(tree.add(1), nullptr);
    EXPECT_NE(tree.add(2), nullptr);
    EXPECT_EQ(tree.add(1), nullptr);
    expect_holds(&tree, {1, 2});
}

TEST(Avl, KeepsEqualKeysInTheOrderOfTheirInsertion)
{
    Tree tree(true);
    std::vector<Element *> twos;
    for (int round = 0; round < 10; round++) {
        tree.add(1);
        twos.push_back(tree.add(2));
        tree.add(3);
    }
    Element *found = nullptr;
    EXPECT_EQ(avl_find_element(&tree, &twos[0]->number, found, node), twos[0]);
    for (Element *expected : twos) {
        EXPECT_EQ(found, expected);
        found = avl_next_element(found, node);
    }
    EXPECT_EQ(found->number, 3);
}

TEST(Avl, FindsEqualAndNextLargerKeys)
{
    Tree tree;
    for (int number = 10; number <= 100; number += 10)
        tree.add(number);
    for (int key = 0; key <= 110; key++) {
        Element *element = nullptr;
        avl_find_element(&tree, &key, element, node);
        EXPECT_EQ(element ? element->number : 0, 10 <= key && key <= 100 && key % 10 == 0 ? key : 0) << key;
        EXPECT_EQ(avl_find(&tree, &key), element ? &element->node : nullptr);
        avl_find_ge_element(&tree, &key, element, node);
        EXPECT_EQ(element ? element->number : 0, key <= 100 ? std::max(10, (key + 9) / 10 * 10) : 0) << key;
    }
}

TEST(Avl, FindsNothingInAnEmptyTree)
{
    Tree tree;
    int key = 1;
    auto *element = reinterpret_cast<Element *>(&key);
    EXPECT_EQ(avl_find_element(&tree, &key, element, node), nullptr);
    EXPECT_EQ(element, nullptr);
    avl_for_each_element (&tree, element, node)
        FAIL();
    Element *next;
    avl_for_each_element_safe (&tree, element, node, next)
        FAIL();
}

TEST(Avl, HasFirstLastAndNeighbours)
{
    Tree tree;
    for (int number : {3, 1, 2})
        tree.add(number);
    Element *element = avl_first_element(&tree, element, node);
    EXPECT_EQ(element->number, 1);
    EXPECT_EQ(avl_next_element(element, node)->number, 2);
    element = avl_last_element(&tree, element, node);
    EXPECT_EQ(element->number, 3);
    EXPECT_EQ(avl_prev_element(element, node)->number, 2);
}

TEST(Avl, RangeIncludesBothEnds)
{
    Tree tree;
    std::vector<Element *> elements;
    for (int number = 0; number < 10; number++)
        elements.push_back(tree.add(number));
    for (size_t first = 0; first < 10; first++) {
        for (size_t last = first; last < 10; last++) {
            std::vector<int> seen;
            Element *element;
            avl_for_element_range (elements[first], elements[last], element, node)
                seen.push_back(element->number);
            ASSERT_EQ(seen.size(), last - first + 1);
            EXPECT_EQ(seen.front(), static_cast<int>(first));
            EXPECT_EQ(seen.back(), static_cast<int>(last));
        }
    }
}

TEST(Avl, SafeWalkMayDeleteWhatItStandsOn)
{
    Tree tree;
    for (int number = 0; number < 100; number++)
        tree.add(number);
    std::vector<int> left;
    Element *element;
    Element *next;
    avl_for_each_element_safe (&tree, element, node, next)
        if (element->number % 3 == 0)
            tree.remove(element);
        else
            left.push_back(element->number);
    expect_holds(&tree, left);
}

// Every order in which up to seven keys can come and go, so that every rotation is taken.
TEST(Avl, StaysBalancedInEveryOrderOfInsertionAndRemoval)
{
    std::vector<int> order = {1, 2, 3, 4, 5, 6, 7};
    do {
        Tree tree;
        std::vector<Element *> elements(8);
        for (int number : order)
            elements[static_cast<size_t>(number)] = tree.add(number);
        expect_holds(&tree, {1, 2, 3, 4, 5, 6, 7});
        for (size_t gone = 1; gone <= 7; gone++) {
            tree.remove(elements[static_cast<size_t>(order[gone * 3 % 7])]);
            std::vector<int> keys;
            checked_depth((&tree)->root, nullptr, keys);
            ASSERT_EQ(keys.size(), 7 - gone);
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Avl, AgreesWithAMapOverRandomChanges)
{
    std::mt19937 random(1);
    for (int range : {8, 100, 3000}) {
        Tree tree;
        std::map<int, Element *> map;
        for (int round = 0; round < 6000; round++) {
            int number = static_cast<int>(random() % static_cast<unsigned>(range));
            auto held = map.find(number);
            if (random() % 2 == 0) {
                Element *element = tree.add(number);
                ASSERT_EQ(element == nullptr, held != map.end());
                if (element)
                    map[number] = element;
            } else if (held != map.end()) {
                tree.remove(held->second);
                map.erase(held);
            }
            Element *found = nullptr;
            avl_find_element(&tree, &number, found, node);
            held = map.find(number);
            ASSERT_EQ(found, held == map.end() ? nullptr : held->second);
            if (round % 100 == 0) {
                std::vector<int> expected;
                for (const auto &[key, element] : map)
                    expected.push_back(key);
                expect_holds(&tree, expected);
            }
        }
    }
}

TEST(Avl, AgreesWithAMultimapWhereKeysRepeat)
{
    std::mt19937 random(2);
    Tree tree(true);
    std::multimap<int, Element *> map;
    for (int round = 0; round < 5000; round++) {
        int number = static_cast<int>(random() % 20);
        if (map.empty() || random() % 2 == 0) {
            map.emplace(number, tree.add(number));
        } else {
            auto gone = std::next(map.begin(), static_cast<long>(random() % map.size()));
            tree.remove(gone->second);
            map.erase(gone);
        }
        std::vector<Element *> expected;
        std::vector<Element *> found;
        for (const auto &[key, element] : map)
            expected.push_back(element);
        Element *element;
        avl_for_each_element (&tree, element, node)
            found.push_back(element);
        ASSERT_EQ(found, expected);
        std::vector<int> keys;
        checked_depth((&tree)->root, nullptr, keys);
        avl_find_element(&tree, &number, element, node);
        auto held = map.lower_bound(number);
        ASSERT_EQ(element, held == map.end() || held->first != number ? nullptr : held->second);
    }
}

TEST(Avl, StrcmpOrdersTexts)
{
    EXPECT_LT(avl_strcmp("a", "b", nullptr), 0);
    EXPECT_GT(avl_strcmp("b", "a", nullptr), 0);
    EXPECT_EQ(avl_strcmp("a", "a", nullptr), 0);
    EXPECT_LT(avl_strcmp("a", "\xff", nullptr), 0);
}

TEST(Avl, HandsItsPointerToTheComparison)
{
    avl_tree tree;
    int calls = 0;
    auto count = [](const void *, const void *, void *ptr) { return ++*static_cast<int *>(ptr); };
    avl_init(&tree, count, false, &calls);
    avl_node nodes[2] = {};
    EXPECT_EQ(avl_insert(&tree, &nodes[0]), 0);
    EXPECT_EQ(avl_insert(&tree, &nodes[1]), 0);
    EXPECT_EQ(calls, 1);
}

struct Word {
    const char *key;
    avl_node node;
};

TEST(Avl, KnowsTheFirstOfEqualKeys)
{
    AVL_TREE(tree, avl_strcmp, true, nullptr);
    Word words[] = {{"b", {}}, {"a", {}}, {"b", {}}, {"b", {}}};
    for (Word &word : words) {
        word.node.key = word.key;
        avl_insert(&tree, &word.node);
    }
    EXPECT_TRUE(words[0].node.leader && words[1].node.leader);
    EXPECT_FALSE(words[2].node.leader || words[3].node.leader);
    avl_delete(&tree, &words[0].node);
    EXPECT_TRUE(words[2].node.leader);
    EXPECT_FALSE(words[3].node.leader);
}

TEST(Avl, FindsNextSmallerKeysAndWalksBothWays)
{
    AVL_TREE(tree, avl_strcmp, true, nullptr);
    Word words[] = {{"b", {}}, {"d", {}}, {"d", {}}, {"f", {}}};
    Word *word, *next;
    for (Word &each : words) {
        each.node.key = each.key;
        avl_insert(&tree, &each.node);
    }
    EXPECT_EQ(avl_find_le_element(&tree, "a", word, node), nullptr);
    EXPECT_EQ(avl_find_le_element(&tree, "c", word, node), &words[0]);
    EXPECT_EQ(avl_find_le_element(&tree, "d", word, node), &words[2]);
    EXPECT_EQ(avl_find_le_element(&tree, "z", word, node), &words[3]);
    EXPECT_TRUE(avl_is_first(&tree, &words[0].node) && avl_is_last(&tree, &words[3].node));

    std::string seen;
    avl_for_each_element_reverse(&tree, word, node) seen += word->key;
    seen += ' ';
    avl_for_element_range_reverse(&words[1], &words[3], word, node) seen += word->key;
    seen += ' ';
    avl_for_element_range_safe(&words[1], &words[2], word, node, next)
    {
        seen += word->key;
        avl_delete(&tree, &word->node);
    }
    avl_for_each_element_reverse_safe(&tree, word, node, next)
    {
        seen += word->key;
        if (word == &words[3])
            avl_delete(&tree, &word->node);
    }
    avl_for_element_range_reverse_safe(&words[0], &words[0], word, node, next) seen += word->key;
    EXPECT_EQ(seen, "fddb fdd ddfbb");
    EXPECT_EQ(tree.count, 1u);
}

TEST(Avl, IsEmptiedInOrder)
{
    AVL_TREE(tree, avl_strcmp, false, nullptr);
    std::string seen;
    Word *word, *next;
    for (const char *key : {"b", "c", "a"}) {
        auto *fresh = new Word{key, {}};
        fresh->node.key = key;
        avl_insert(&tree, &fresh->node);
    }
    avl_remove_all_elements(&tree, word, node, next)
    {
        seen += word->key;
        delete word;
    }
    EXPECT_EQ(seen, "abc");
    EXPECT_TRUE(avl_is_empty(&tree));
    avl_remove_all_elements(&tree, word, node, next) FAIL();
}

TEST(Avl, BlobcmpOrdersBlobsByTheirBytes)
{
    Buffer small, large, longer;
    blob_put_u8(&small, 1, 1);
    blob_put_u8(&large, 1, 2);
    blob_put_u8(&longer, 1, 1);
    blob_put_u8(&longer, 1, 1);
    EXPECT_EQ(avl_blobcmp(small->head, small->head, nullptr), 0);
    EXPECT_LT(avl_blobcmp(small->head, large->head, nullptr), 0);
    EXPECT_GT(avl_blobcmp(large->head, small->head, nullptr), 0);
    EXPECT_LT(avl_blobcmp(small->head, longer->head, nullptr), 0);
}

} // namespace
