/* Sorted list of named entries that tells its owner, by one callback, what was added, replaced and taken out. */
#ifndef LIBUBOX_VLIST_H
#define LIBUBOX_VLIST_H

#include <stdbool.h>

#include "avl.h"

struct vlist_tree;
struct vlist_node;

/* Added: `node_old` null. Taken out: `node_new` null. Both: the new one takes the place of the old. Frees are its own.
 */
typedef void (*vlist_update_cb)(struct vlist_tree *tree, struct vlist_node *node_new, struct vlist_node *node_old);

struct vlist_tree {
    struct avl_tree avl;
    vlist_update_cb update;
    bool keep_old;  /* an entry of equal key stays and the new one is only shown to `update` */
    bool no_delete; /* nothing is taken out of the tree here: `update` does that */
    int version;
};

struct vlist_node {
    struct avl_node avl;
    int version; /* the tree's, when the entry was last added */
};

/* A tree as a definition, and what initialises one. */
#define VLIST_TREE_INIT(name, comp_, update_, keep_old_, no_delete_)                                                   \
    {                                                                                                                  \
        .avl = AVL_TREE_INIT((name).avl, comp_, false, NULL), .update = update_, .keep_old = keep_old_,                \
        .no_delete = no_delete_, .version = 1                                                                          \
    }
#define VLIST_TREE(name, comp_, update_, keep_old_, no_delete_)                                                        \
    struct vlist_tree name = VLIST_TREE_INIT(name, comp_, update_, keep_old_, no_delete_)

/* Leaves `keep_old` and `no_delete` as they were: the tree is to be zero before, or those two set. */
void vlist_init(struct vlist_tree *tree, avl_tree_comp cmp, vlist_update_cb update);
/* `key` is kept by reference. */
void vlist_add(struct vlist_tree *tree, struct vlist_node *node, const void *key);
void vlist_delete(struct vlist_tree *tree, struct vlist_node *node);

/* Elements added from here on are of a new version; vlist_flush takes out all others. A version of -1 stays.
 */
static inline void vlist_update(struct vlist_tree *tree)
{
    tree->version++;
}

void vlist_flush(struct vlist_tree *tree);
/* All of it. The tree's version is -1 afterwards, to be set anew before versions are used again. */
void vlist_flush_all(struct vlist_tree *tree);

#define vlist_find(tree, key, element, node_member) avl_find_element(&(tree)->avl, key, element, node_member.avl)
#define vlist_for_each_element(tree, element, node_member) avl_for_each_element (&(tree)->avl, element, node_member.avl)
#define vlist_for_each_element_safe(tree, element, node_member, ptr)                                                   \
    avl_for_each_element_safe (&(tree)->avl, element, node_member.avl, ptr)
#define vlist_for_each_element_reverse(tree, element, node_member)                                                     \
    avl_for_each_element_reverse(&(tree)->avl, element, node_member.avl)
#define vlist_for_first_to_element(tree, last, element, node_member)                                                   \
    avl_for_first_to_element(&(tree)->avl, last, element, node_member.avl)
#define vlist_for_first_to_element_reverse(tree, last, element, node_member)                                           \
    avl_for_first_to_element_reverse(&(tree)->avl, last, element, node_member.avl)
#define vlist_for_element_to_last(tree, first, element, node_member)                                                   \
    avl_for_element_to_last(&(tree)->avl, first, element, node_member.avl)
#define vlist_for_element_to_last_reverse(tree, first, element, node_member)                                           \
    avl_for_element_to_last_reverse(&(tree)->avl, first, element, node_member.avl)

#endif
