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
    struct avl_node *left; /* smaller keys */
    struct avl_node *right;
    const void *key;
    signed char balance; /* levels on the right minus levels on the left */
    bool leader;         /* the first of its key */
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

/* A tree as a definition, and what initialises one. */
#define AVL_TREE_INIT(name, comp_, allow_dups_, cmp_ptr_)                                                              \
    {                                                                                                                  \
        .list_head = LIST_HEAD_INIT((name).list_head), .allow_dups = allow_dups_, .comp = comp_, .cmp_ptr = cmp_ptr_   \
    }
#define AVL_TREE(name, comp_, allow_dups_, cmp_ptr_)                                                                   \
    struct avl_tree name = AVL_TREE_INIT(name, comp_, allow_dups_, cmp_ptr_)

void avl_init(struct avl_tree *tree, avl_tree_comp comp, bool allow_dups, void *ptr);

/* 0, or -1 where an equal key is in the tree already and duplicates are not allowed. */
int avl_insert(struct avl_tree *tree, struct avl_node *node);
void avl_delete(struct avl_tree *tree, struct avl_node *node);

/* The first node with this key; the first whose key is not smaller; the last whose key is not larger. Null where there
 * is none. */
struct avl_node *avl_find(const struct avl_tree *tree, const void *key);
struct avl_node *avl_find_greaterequal(const struct avl_tree *tree, const void *key);
struct avl_node *avl_find_lessequal(const struct avl_tree *tree, const void *key);

static inline bool avl_is_first(struct avl_tree *tree, struct avl_node *node)
{
    return tree->list_head.next == &node->list;
}

static inline bool avl_is_last(struct avl_tree *tree, struct avl_node *node)
{
    return tree->list_head.prev == &node->list;
}

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
#define avl_find_le_element(tree, key, element, node_member)                                                           \
    ((element) = (typeof(*(element)) *)avl_element_of(avl_find_lessequal(tree, key),                                   \
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

#define avl_for_each_element_reverse(tree, element, node_member)                                                       \
    list_for_each_entry_reverse(element, &(tree)->list_head, node_member.list)
#define avl_for_each_element_reverse_safe(tree, element, node_member, ptr)                                             \
    for ((element) = avl_last_element(tree, element, node_member), (ptr) = avl_prev_element(element, node_member);     \
         &(element)->node_member.list != &(tree)->list_head;                                                           \
         (element) = (ptr), (ptr) = avl_prev_element(ptr, node_member))

/* From `first` to `last`, both included, or back; `last` must not come before `first`. */
#define avl_for_element_range(first, last, element, node_member)                                                       \
    for ((element) = (first); (element)->node_member.list.prev != &(last)->node_member.list;                           \
         (element) = avl_next_element(element, node_member))
#define avl_for_element_range_reverse(first, last, element, node_member)                                               \
    for ((element) = (last); (element)->node_member.list.next != &(first)->node_member.list;                           \
         (element) = avl_prev_element(element, node_member))
#define avl_for_element_to_last(tree, first, element, node_member)                                                     \
    avl_for_element_range (first, avl_last_element(tree, element, node_member), element, node_member)
#define avl_for_first_to_element(tree, last, element, node_member)                                                     \
    avl_for_element_range (avl_first_element(tree, element, node_member), last, element, node_member)
#define avl_for_element_to_last_reverse(tree, first, element, node_member)                                             \
    avl_for_element_range_reverse(first, avl_last_element(tree, element, node_member), element, node_member)
#define avl_for_first_to_element_reverse(tree, last, element, node_member)                                             \
    avl_for_element_range_reverse(avl_first_element(tree, element, node_member), last, element, node_member)

/* The same, and `element` may be deleted (and only `element`): the end is known by what lies behind it. */
#define avl_for_element_range_safe(first, last, element, node_member, ptr)                                             \
    for (struct list_head *avl_range_end = (last)->node_member.list.next,                                              \
                          *avl_range_begun = ((element) = (first), (ptr) = avl_next_element(element, node_member),     \
                                             (struct list_head *)NULL);                                                \
         !avl_range_begun && &(element)->node_member.list != avl_range_end;                                            \
         (element) = (ptr), (ptr) = avl_next_element(ptr, node_member))
#define avl_for_element_range_reverse_safe(first, last, element, node_member, ptr)                                     \
    for (struct list_head *avl_range_end = (first)->node_member.list.prev,                                             \
                          *avl_range_begun = ((element) = (last), (ptr) = avl_prev_element(element, node_member),      \
                                             (struct list_head *)NULL);                                                \
         !avl_range_begun && &(element)->node_member.list != avl_range_end;                                            \
         (element) = (ptr), (ptr) = avl_prev_element(ptr, node_member))

/* Empties the tree and walks what was in it, in order; the element may be freed. */
#define avl_remove_all_elements(tree, element, node_member, ptr)                                                       \
    for ((element) = avl_first_element(tree, element, node_member), (ptr) = avl_next_element(element, node_member),    \
        avl_init(tree, (tree)->comp, (tree)->allow_dups, (tree)->cmp_ptr);                                             \
         &(element)->node_member.list != &(tree)->list_head;                                                           \
         (element) = (ptr), (ptr) = avl_next_element(ptr, node_member))

#endif
