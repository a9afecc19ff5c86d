/*
 * Intrusive AVL tree whose nodes are also linked in key order. An element holds a `struct avl_node`; its `key` must be
 * set before it is inserted and must not change order while it is in the tree. The tree owns nothing.
 */
#ifndef LIBUBOX_AVL_H
#define LIBUBOX_AVL_H

#include <stdbool.h>
#include <stddef.h>

#include "list.h"

struct avl_node {
    struct list_head list; /* in key order; the list's head is in the tree */
    struct avl_node *parent;
    struct avl_node *child[2]; /* smaller keys, larger keys */
    const void *key;
    signed char balance; /* levels on the larger side minus levels on the smaller one */
};

/* Below, equal to or above zero, as strcmp; `ptr` is what avl_init was given. */
typedef int (*avl_tree_comp)(const void *k1, const void *k2, void *ptr);

struct avl_tree {
    struct list_head list_head;
    struct avl_node *root;
    unsigned int count;
    bool allow_dups; /* equal keys stand in the order of their insertion */
    avl_tree_comp comp;
    void *cmp_ptr;
};

void avl_init(struct avl_tree *tree, avl_tree_comp comp, bool allow_dups, void *ptr);

/* 0, or -1 where an equal key is in the tree already and duplicates are not allowed. */
int avl_insert(struct avl_tree *tree, struct avl_node *node);
void avl_delete(struct avl_tree *tree, struct avl_node *node);

/* The first node with this key; the first whose key is not smaller. Null where there is none. */
struct avl_node *avl_find(const struct avl_tree *tree, const void *key);
struct avl_node *avl_find_greaterequal(const struct avl_tree *tree, const void *key);

static inline bool avl_is_empty(const struct avl_tree *tree)
{
    return tree->count == 0;
}

/* The element around a node that may be null; `offset` is the node's place in the element. */
static inline void *avl_element_of(struct avl_node *node, size_t offset)
{
    return node ? (char *)node - offset : NULL;
}

/* These set `element`, to null where nothing is found, and have its value. */
#define avl_find_element(tree, key, element, node_member)                                                              \
    ((element) = (typeof(*(element)) *)avl_element_of(avl_find(tree, key), offsetof(typeof(*(element)), node_member)))
#define avl_find_ge_element(tree, key, element, node_member)                                                           \
    ((element) = (typeof(*(element)) *)avl_element_of(avl_find_greaterequal(tree, key),                                \
                                                      offsetof(typeof(*(element)), node_member)))

/* `element` only gives the type. The tree must not be empty; the last element has no next one, the first no previous.
 */
#define avl_first_element(tree, element, node_member)                                                                  \
    container_of((tree)->list_head.next, typeof(*(element)), node_member.list)
#define avl_last_element(tree, element, node_member)                                                                   \
    container_of((tree)->list_head.prev, typeof(*(element)), node_member.list)
#define avl_next_element(element, node_member)                                                                         \
    container_of((element)->node_member.list.next, typeof(*(element)), node_member.list)
#define avl_prev_element(element, node_member)                                                                         \
    container_of((element)->node_member.list.prev, typeof(*(element)), node_member.list)

#define avl_for_each_element(tree, element, node_member)                                                               \
    list_for_each_entry (element, &(tree)->list_head, node_member.list)

/* `ptr` keeps the place, so `element` may be deleted (and only `element`). */
#define avl_for_each_element_safe(tree, element, node_member, ptr)                                                     \
    list_for_each_entry_safe (element, ptr, &(tree)->list_head, node_member.list)

/* From `first` to `last`, both included; `last` must not come before `first`. */
#define avl_for_element_range(first, last, element, node_member)                                                       \
    for ((element) = (first); (element)->node_member.list.prev != &(last)->node_member.list;                           \
         (element) = avl_next_element(element, node_member))

#endif
