extern "C" {
#include <libubox/avl-cmp.h>
#include <libubox/avl.h>
#include <libubox/blob.h>
}

#include <algorithm>
#include <cstring>

namespace
{

enum Side { kSmaller, kLarger };

Side other(Side side)
{
    return side == kSmaller ? kLarger : kSmaller;
}

avl_node *&child_of(avl_node *node, Side side)
{
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): where the balance tells of a child, there is one
    return side == kSmaller ? node->left : node->right;
}

// The change of balance that one level more on a side makes.
int weight(Side side)
{
    return side == kLarger ? 1 : -1;
}

Side side_of(const avl_node *parent, const avl_node *node)
{
    return parent->right == node ? kLarger : kSmaller;
}

void link_child(avl_node *parent, Side side, avl_node *child)
{
    child_of(parent, side) = child;
    if (child)
        child->parent = parent;
}

// Puts `heir` (or nothing) where `node` hangs.
void replace(avl_tree *tree, avl_node *node, avl_node *heir)
{
    if (node->parent) {
        link_child(node->parent, side_of(node->parent, node), heir);
        return;
    }
    tree->root = heir;
    if (heir)
        heir->parent = nullptr;
}

// Lifts the child on `side` above its parent; balances are the caller's.
void rotate(avl_tree *tree, avl_node *node, Side side)
{
    avl_node *child = child_of(node, side);
    replace(tree, node, child);
    link_child(node, side, child_of(child, other(side)));
    // NOLINTNEXTLINE(readability-suspicious-call-argument): the two change places
    link_child(child, other(side), node);
}

// Mends a node that is two levels deeper on `side`; the result is what hangs in its place. Its balance is 0 where the
// whole lost a level by that.
avl_node *mend(avl_tree *tree, avl_node *node, Side side)
{
    int heavy = weight(side);
    avl_node *child = child_of(node, side);

    if (child->balance == -heavy) {
        avl_node *inner = child_of(child, other(side));
        rotate(tree, child, other(side));
        rotate(tree, node, side);
        node->balance = static_cast<signed char>(inner->balance == heavy ? -heavy : 0);
        child->balance = static_cast<signed char>(inner->balance == -heavy ? heavy : 0);
        inner->balance = 0;
        return inner;
    }
    rotate(tree, node, side);
    node->balance = static_cast<signed char>(heavy - child->balance);
    child->balance = static_cast<signed char>(child->balance - heavy);
    return child;
}

// `node` is a level deeper than before: carries that up until a subtree takes it in.
void rebalance_grown(avl_tree *tree, avl_node *node)
{
    for (avl_node *parent = node->parent; parent; node = parent, parent = node->parent) {
        Side side = side_of(parent, node);
        parent->balance = static_cast<signed char>(parent->balance + weight(side));
        if (parent->balance == 0)
            return;
        if (parent->balance == 2 * weight(side)) {
            mend(tree, parent, side);
            return;
        }
    }
}

// `parent` lost a level on `side`: carries that up until a subtree is as deep as before.
void rebalance_shrunk(avl_tree *tree, avl_node *parent, Side side)
{
    while (parent) {
        int lighter = weight(other(side));
        parent->balance = static_cast<signed char>(parent->balance + lighter);
        if (parent->balance == lighter)
            return;
        avl_node *top = parent;
        if (parent->balance == 2 * lighter) {
            top = mend(tree, parent, other(side));
            if (top->balance != 0)
                return;
        }
        parent = top->parent;
        if (parent)
            side = side_of(parent, top);
    }
}

// A node with two children is replaced by the next one in order, which has no smaller child.
void unlink_inner(avl_tree *tree, avl_node *node)
{
    avl_node *heir = list_entry(node->list.next, avl_node, list);
    avl_node *shrunk = heir;
    Side side = kLarger;

    if (heir->parent != node) {
        shrunk = heir->parent;
        side = kSmaller;
        link_child(shrunk, kSmaller, child_of(heir, kLarger));
        link_child(heir, kLarger, child_of(node, kLarger));
    }
    link_child(heir, kSmaller, child_of(node, kSmaller));
    heir->balance = node->balance;
    replace(tree, node, heir);
    rebalance_shrunk(tree, shrunk, side);
}

void unlink_outer(avl_tree *tree, avl_node *node)
{
    avl_node *parent = node->parent;
    Side side = parent ? side_of(parent, node) : kSmaller;
    avl_node *child = child_of(node, kSmaller) ? child_of(node, kSmaller) : child_of(node, kLarger);

    replace(tree, node, child);
    rebalance_shrunk(tree, parent, side);
}

} // namespace

int avl_strcmp(const void *k1, const void *k2, void *)
{
    return strcmp(static_cast<const char *>(k1), static_cast<const char *>(k2));
}

int avl_blobcmp(const void *k1, const void *k2, void *)
{
    size_t length1 = blob_raw_len(static_cast<const blob_attr *>(k1));
    size_t length2 = blob_raw_len(static_cast<const blob_attr *>(k2));
    int order = memcmp(k1, k2, std::min(length1, length2));
    return order != 0 ? order : (length1 > length2) - (length1 < length2);
}

void avl_init(avl_tree *tree, avl_tree_comp comp, bool allow_dups, void *ptr)
{
    INIT_LIST_HEAD(&tree->list_head);
    tree->root = nullptr;
    tree->count = 0;
    tree->allow_dups = allow_dups;
    tree->comp = comp;
    tree->cmp_ptr = ptr;
}

namespace
{

bool follows_equal(const avl_tree *tree, const avl_node *node)
{
    if (!tree->allow_dups || node->list.prev == &tree->list_head)
        return false;
    return tree->comp(node->key, list_entry(node->list.prev, avl_node, list)->key, tree->cmp_ptr) == 0;
}

} // namespace

int avl_insert(avl_tree *tree, avl_node *node)
{
    avl_node *parent = nullptr;
    Side side = kSmaller;

    for (avl_node *next = tree->root; next; next = child_of(parent, side)) {
        int order = tree->comp(node->key, next->key, tree->cmp_ptr);
        if (order == 0 && !tree->allow_dups)
            return -1;
        parent = next;
        side = order < 0 ? kSmaller : kLarger;
    }
    child_of(node, kSmaller) = child_of(node, kLarger) = nullptr;
    node->balance = 0;
    node->leader = true;
    node->parent = parent;
    tree->count++;
    if (!parent) {
        tree->root = node;
        list_add(&node->list, &tree->list_head);
        return 0;
    }
    child_of(parent, side) = node;
    // A leaf is its parent's neighbour in order.
    list_add(&node->list, side == kLarger ? &parent->list : parent->list.prev);
    node->leader = !follows_equal(tree, node);
    rebalance_grown(tree, node);
    return 0;
}

void avl_delete(avl_tree *tree, avl_node *node)
{
    if (child_of(node, kSmaller) && child_of(node, kLarger))
        unlink_inner(tree, node);
    else
        unlink_outer(tree, node);
    if (node->leader && node->list.next != &tree->list_head)
        list_entry(node->list.next, avl_node, list)->leader = true;
    list_del(&node->list);
    tree->count--;
}

avl_node *avl_find_greaterequal(const avl_tree *tree, const void *key)
{
    avl_node *found = nullptr;
    for (avl_node *node = tree->root; node;) {
        bool larger = tree->comp(key, node->key, tree->cmp_ptr) > 0;
        if (!larger)
            found = node;
        node = child_of(node, larger ? kLarger : kSmaller);
    }
    return found;
}

avl_node *avl_find_lessequal(const avl_tree *tree, const void *key)
{
    avl_node *found = nullptr;
    for (avl_node *node = tree->root; node;) {
        bool smaller = tree->comp(key, node->key, tree->cmp_ptr) < 0;
        if (!smaller)
            found = node;
        node = child_of(node, smaller ? kSmaller : kLarger);
    }
    return found;
}

avl_node *avl_find(const avl_tree *tree, const void *key)
{
    avl_node *node = avl_find_greaterequal(tree, key);
    return node && tree->comp(key, node->key, tree->cmp_ptr) == 0 ? node : nullptr;
}
